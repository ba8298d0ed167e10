// SPDX-License-Identifier: MIT
#pragma once

#include "glibptr.h"

#include <QObject>
#include <libsoup/soup.h>

// Emits a signal when the client of a paused exchange closes the connection or its sending
// direction (half-close), or when the connection is reset. libsoup does not notice, because it
// neither reads nor writes while the exchange is paused. After a half-close the client may still
// read, so the exchange should be answered.
//
// Must not outlive the exchange.
class HangUpNotifier : public QObject {
    Q_OBJECT

public:
    HangUpNotifier(SoupMessage* message, QObject* parent);
    ~HangUpNotifier() override;

Q_SIGNALS:
    // Once, from the event loop. The receiver may delete this object.
    void hungUp();

private:
    GObjectPtr<SoupMessage> m_message;
};
