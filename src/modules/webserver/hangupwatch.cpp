#include "hangupwatch.h"

#include "connection/exchange.h"
#include "message.h"

HangUpWatch::HangUpWatch(const Message& message, QObject* parent)
    : QObject(parent), m_message(GObjectPtr<SoupMessage>::share(message.data().message)) {
    if (Exchange* exchange = Exchange::of(m_message.get()))
        exchange->setHangUpWatch(this);
}

HangUpWatch::~HangUpWatch() {
    if (Exchange* exchange = Exchange::of(m_message.get()))
        exchange->setHangUpWatch(nullptr);
}
