// SPDX-License-Identifier: MIT
#include "responders/browserpolicy.h"

#include "message.h"

void setBrowserPolicy(Message* message) {
    message->setHeader(QByteArrayLiteral("X-Content-Type-Options"), QByteArrayLiteral("nosniff"));
    message->setHeader(QByteArrayLiteral("Referrer-Policy"), QByteArrayLiteral("same-origin"));
    message->setHeader(QByteArrayLiteral("X-Frame-Options"), QByteArrayLiteral("SAMEORIGIN"));
}
