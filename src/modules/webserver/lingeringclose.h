#pragma once

#include "glibptr.h"

#include <QByteArray>

// The end of a connection whose client is told something while it still sends.
//
// Closing a socket that holds unread bytes resets the connection, and the reset can overtake the
// answer. So only the sending side is closed, and what comes is thrown away until the client has
// closed too, for a limited time. The connection ends with this object at the latest.
class LingeringClose {
public:
    static constexpr int limitMs = 5000;

    // Sends what fits into the socket's buffer at once.
    LingeringClose(GObjectPtr<GIOStream> stream, GObjectPtr<GSocket> socket,
                   const QByteArray& lastWords);
    ~LingeringClose();
    LingeringClose(const LingeringClose&) = delete;
    LingeringClose& operator=(const LingeringClose&) = delete;

    // The client has closed, or its time is over.
    bool isOver() const;

private:
    void discard();
    static gboolean on_readable(GSocket* socket, GIOCondition condition, gpointer self);

    GObjectPtr<GIOStream> m_stream;
    GObjectPtr<GSocket> m_socket;
    ScopedSource m_source;
    gint64 m_deadline;
};
