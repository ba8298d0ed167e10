// SPDX-License-Identifier: MIT
#pragma once

#include "connection/sender.h"
#include "connection/transport.h"

// Closes a connection: sends the buffered bytes, then the end of the stream (close_notify with TLS,
// FIN), and waits for the client to close too where it may still be sending.
class ConnectionEnd {
public:
    enum class Kind {
        Closing,
        // Closing a socket that holds unread bytes resets the connection, and the reset can
        // overtake the answer. So what comes is discarded until the client has closed too.
        Lingering,
        // The answer is not whole, which its client sees from what it got. Without close_notify.
        Aborted,
        // The same where the client could not tell: with a reset.
        Reset
    };
    enum class Step { Sending, Lingering, Over };

    ConnectionEnd() = default;
    explicit ConnectionEnd(Kind kind) : m_kind(kind) {}

    // To be called at first, and when the socket has room.
    Step advance(Sender& sender, const Transport& transport) const;
    // To be called in the step Lingering, when the socket is readable.
    static Step discard(const Transport& transport);

private:
    Kind m_kind = Kind::Closing;
};
