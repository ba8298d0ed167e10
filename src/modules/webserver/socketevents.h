#pragma once

#include "glibptr.h"

#include <gio/gio.h>

#include <functional>
#include <unordered_map>
#include <vector>

// Waits for input from all sockets of a server, and for the end of their streams, behind one
// descriptor.
//
// GIO watches a socket that is waited for with a source that has a descriptor. Then each turn of
// the main loop costs time for every client that has a connection, and each time a client sends
// something the loop is woken up several times over, because a descriptor leaves its list. Here the
// kernel keeps the list; what GIO's streams of these sockets wait with has no descriptor, and
// reading from a socket that is known to be empty costs no system call.
//
// The end of a stream is noticed behind bytes that nobody has read, too: a next request, or the
// farewell of TLS.
class SocketEvents {
public:
    // Gets the key of a socket whose peer has ended its side of the connection, or which is broken;
    // from the event loop, once.
    using Callback = std::function<void(void* key)>;

    explicit SocketEvents(Callback ended);
    ~SocketEvents();

    // Until the socket is closed or removed. Each socket once.
    void add(GSocket* socket, void* key);
    // Gives the socket back to GIO; nothing more is told of it.
    void remove(GSocket* socket);

private:
    friend struct SocketInputHooks;
    struct Socket;
    struct EpollSource;

    void fetch();
    void tellEnds();
    static gboolean on_check(GSource* source);
    static gboolean on_dispatch(GSource* source, GSourceFunc, gpointer);

    Callback m_callback;
    int m_epoll;
    ScopedSource m_source;
    // By numbers of their own: while a child process starts, it holds sockets that are closed here,
    // and the kernel goes on to tell of them.
    std::unordered_map<guint64, Socket*> m_sockets;
    guint64 m_lastId = 0;
    // Of streams that have ended, and were not told of yet.
    std::vector<GObjectPtr<GSocket>> m_ended;
};
