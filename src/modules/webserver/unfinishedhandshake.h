#pragma once

#include "glibptr.h"

// The end of a connection that is perhaps in the middle of its TLS handshake.
//
// GIO runs a handshake in a thread, and the connection keeps itself alive until somebody has asked
// for the outcome. A connection that is closed before no longer answers that question: it would
// stay in memory for good, with 16 to 44 KB. So the socket is shut down here, which ends the
// handshake, and the outcome is asked for before the connection is let go. The client sees the end
// at once.
class UnfinishedHandshake {
public:
    UnfinishedHandshake(GObjectPtr<GIOStream> stream, GObjectPtr<GSocket> socket);
    // Waits for the end of the thread, which takes milliseconds.
    ~UnfinishedHandshake();
    UnfinishedHandshake(const UnfinishedHandshake&) = delete;
    UnfinishedHandshake& operator=(const UnfinishedHandshake&) = delete;

    // Nothing is left of the connection.
    bool isOver() const { return !m_source; }

private:
    GPollableInputStream* input() const;
    // False while the handshake goes on.
    bool readOutcome();
    static gboolean on_readable(GPollableInputStream*, gpointer self);

    GObjectPtr<GIOStream> m_stream;
    GObjectPtr<GSocket> m_socket;
    ScopedSource m_source;
};
