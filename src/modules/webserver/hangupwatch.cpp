#include "hangupwatch.h"

#include "connectionwatch.h"
#include "message.h"

HangUpWatch::HangUpWatch(const Message& message, QObject* parent)
    : QObject(parent), m_connections(ConnectionWatch::of(message.data().server)),
      m_client(message.data().client) {
    if (m_connections)
        m_connections->setHangUpWatch(m_client, this);
}

HangUpWatch::~HangUpWatch() {
    if (m_connections)
        m_connections->setHangUpWatch(m_client, nullptr);
}
