// SPDX-License-Identifier: MIT
#pragma once

#include "glibptr.h"

#include <cstdint>
#include <functional>

// Waits for many sockets behind one descriptor of the main loop.
//
// GLib walks every source and every descriptor that is attached to a main context several times a
// turn, so that hundreds of idle connections would slow down each request. The kernel keeps the
// list here (an epoll set), and the main loop sees one source. Level-triggered: what is not dealt
// with is reported again.
class SocketPoller {
public:
    class Handler {
    public:
        virtual ~Handler() = default;
        // Events of epoll. The handler may remove itself and others.
        virtual void on_socket_ready(std::uint32_t events) = 0;
    };

    // `handled` is called behind the handlers of a turn. `turnEnds` is called each time before the
    // main loop may wait; it must not call libsoup, nor run the main loop.
    SocketPoller(std::function<void()> handled, std::function<void()> turnEnds);
    ~SocketPoller();
    SocketPoller(const SocketPoller&) = delete;
    SocketPoller& operator=(const SocketPoller&) = delete;

    // Registers a descriptor with its handler. Must end before the descriptor is closed: a child
    // process that is just being started may hold a copy, and epoll would still report it.
    class Registration {
    public:
        Registration(SocketPoller& poller, int descriptor, std::uint32_t events, Handler& handler);
        ~Registration() { stop(); }
        Registration(const Registration&) = delete;
        Registration& operator=(const Registration&) = delete;

        // Events of epoll.
        void add(std::uint32_t events) { set(m_events | events); }
        void remove(std::uint32_t events) { set(m_events & ~events); }
        void set(std::uint32_t events);
        void stop();

    private:
        SocketPoller* m_poller;
        int m_descriptor;
        std::uint32_t m_events;
        Handler& m_handler;
    };

    // Has `handled` called in the next turn, whether a socket is ready or not.
    void wakeUp();

private:
    struct Source;

    void dispatch();
    void control(int operation, int descriptor, std::uint32_t events, Handler& handler) const;
    void forget(const Handler& handler);
    static gboolean on_dispatch(GSource* source, GSourceFunc, gpointer);
    static gboolean on_turnEnd_prepare(GSource* source, int* timeout);

    std::function<void()> m_handled;
    std::function<void()> m_turnEnds;
    int m_epoll;
    ScopedSource m_source;
    // Prepared before all others: the sources behind a ready one of a higher priority are not.
    ScopedSource m_turnEndSource;
    // The events that are still to be dispatched; those of a removed handler are cleared.
    struct epoll_event* m_pending = nullptr;
    int m_pendingCount = 0;
};
