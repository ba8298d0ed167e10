#pragma once

#include "glibptr.h"

#include <gio/gio.h>

#include <functional>

// Tells of sockets whose peers have ended their side of the connection, or which are broken, also
// behind bytes that nobody has read: a next request, or the farewell of TLS.
//
// All of them wait behind one descriptor, so that the main loop has one entry to look at, however
// many clients wait.
class StreamEnds {
public:
    // Gets the key of the socket, from the event loop.
    using Callback = std::function<void(void* key)>;

    explicit StreamEnds(Callback callback);
    ~StreamEnds();

    // Tells once, unless the socket is closed before.
    void add(GSocket* socket, void* key);

private:
    static gboolean on_epoll(gint, GIOCondition, gpointer self);

    Callback m_callback;
    int m_epoll;
    GSourcePtr m_source;
};
