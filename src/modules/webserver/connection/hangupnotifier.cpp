// SPDX-License-Identifier: MIT
#include "connection/hangupnotifier.h"

#include "connection/exchange.h"

HangUpNotifier::HangUpNotifier(SoupMessage* message, QObject* parent)
    : QObject(parent), m_message(GObjectPtr<SoupMessage>::share(message)) {
    if (Exchange* exchange = Exchange::of(m_message.get()))
        exchange->setHangUpNotifier(this);
}

HangUpNotifier::~HangUpNotifier() {
    if (Exchange* exchange = Exchange::of(m_message.get()))
        exchange->setHangUpNotifier(nullptr);
}
