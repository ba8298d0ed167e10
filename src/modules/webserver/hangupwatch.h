#pragma once

#include "glibptr.h"

#include <QObject>
#include <libsoup/soup.h>

// Tells when the client of a waiting exchange ends its side of the connection, or the connection
// breaks: libsoup, which neither reads nor writes meanwhile, does not notice. A client that has
// merely ended its sending direction looks the same, so the exchange should still be answered.
//
// Must not outlive the exchange.
class HangUpWatch : public QObject {
    Q_OBJECT

public:
    HangUpWatch(SoupMessage* message, QObject* parent);
    ~HangUpWatch() override;

Q_SIGNALS:
    // Once, from the event loop. The receiver may delete the watch.
    void hungUp();

private:
    GObjectPtr<SoupMessage> m_message;
};
