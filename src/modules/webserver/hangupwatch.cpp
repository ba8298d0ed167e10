#include "hangupwatch.h"

#include "connection/exchange.h"

HangUpWatch::HangUpWatch(SoupMessage* message, QObject* parent)
    : QObject(parent), m_message(GObjectPtr<SoupMessage>::share(message)) {
    if (Exchange* exchange = Exchange::of(m_message.get()))
        exchange->setHangUpWatch(this);
}

HangUpWatch::~HangUpWatch() {
    if (Exchange* exchange = Exchange::of(m_message.get()))
        exchange->setHangUpWatch(nullptr);
}
