// SPDX-License-Identifier: MIT
#include "connection/socketpoller.h"

#include <algorithm>
#include <array>
#include <sys/epoll.h>
#include <unistd.h>
#include <utility>

namespace {

// Of one turn; the rest is reported in the next one.
constexpr int eventsPerTurn = 64;

} // namespace

struct SocketPoller::Source {
    GSource base;
    SocketPoller* poller;
};

SocketPoller::SocketPoller(std::function<void()> handled, std::function<void()> turnEnds)
    : m_handled(std::move(handled)), m_turnEnds(std::move(turnEnds)),
      m_epoll(epoll_create1(EPOLL_CLOEXEC)) {
    static GSourceFuncs functions{nullptr, nullptr, on_dispatch, nullptr, nullptr, nullptr};
    static GSourceFuncs turnEndFunctions{
        on_turnEnd_prepare, nullptr, nullptr, nullptr, nullptr, nullptr};
    m_source.reset(g_source_new(&functions, sizeof(Source)));
    reinterpret_cast<Source*>(m_source.get())->poller = this;
    g_source_add_unix_fd(m_source.get(), m_epoll, G_IO_IN);
    // Otherwise GLib takes the descriptor out of its list for each dispatch and puts it in again,
    // which wakes the main loop up twice.
    g_source_set_can_recurse(m_source.get(), TRUE);
    g_source_attach(m_source.get(), nullptr);

    m_turnEndSource.reset(g_source_new(&turnEndFunctions, sizeof(Source)));
    reinterpret_cast<Source*>(m_turnEndSource.get())->poller = this;
    g_source_set_priority(m_turnEndSource.get(), G_PRIORITY_HIGH);
    g_source_attach(m_turnEndSource.get(), nullptr);
}

SocketPoller::~SocketPoller() {
    m_source.reset();
    m_turnEndSource.reset();
    close(m_epoll);
}

SocketPoller::Registration::Registration(SocketPoller& poller, int descriptor, std::uint32_t events,
                                         Handler& handler)
    : m_poller(&poller), m_descriptor(descriptor), m_events(events), m_handler(handler) {
    m_poller->control(EPOLL_CTL_ADD, descriptor, events, handler);
}

void SocketPoller::Registration::set(std::uint32_t events) {
    if (!m_poller || m_events == events)
        return;
    m_events = events;
    m_poller->control(EPOLL_CTL_MOD, m_descriptor, events, m_handler);
}

void SocketPoller::Registration::stop() {
    if (!m_poller)
        return;
    m_poller->control(EPOLL_CTL_DEL, m_descriptor, 0, m_handler);
    m_poller->forget(m_handler);
    m_poller = nullptr;
}

void SocketPoller::control(int operation, int descriptor, std::uint32_t events,
                           Handler& handler) const {
    epoll_event event{};
    event.events = events;
    event.data.ptr = &handler;
    epoll_ctl(m_epoll, operation, descriptor, &event);
}

void SocketPoller::forget(const Handler& handler) {
    for (int i = 0; i < m_pendingCount; ++i) {
        if (m_pending[i].data.ptr == &handler)
            m_pending[i].data.ptr = nullptr;
    }
}

void SocketPoller::wakeUp() {
    g_source_set_ready_time(m_source.get(), 0);
}

void SocketPoller::dispatch() {
    // A handler runs the main loop.
    if (m_pending)
        return;
    g_source_set_ready_time(m_source.get(), -1);
    std::array<epoll_event, eventsPerTurn> events{};
    const int count = epoll_wait(m_epoll, events.data(), eventsPerTurn, 0);
    m_pending = events.data();
    m_pendingCount = std::max(count, 0);
    for (int i = 0; i < m_pendingCount; ++i) {
        if (auto* handler = static_cast<Handler*>(events[static_cast<size_t>(i)].data.ptr))
            handler->on_socket_ready(events[static_cast<size_t>(i)].events);
    }
    m_pendingCount = 0;
    m_handled();
    m_pending = nullptr;
}

gboolean SocketPoller::on_dispatch(GSource* source, GSourceFunc, gpointer) {
    reinterpret_cast<Source*>(source)->poller->dispatch();
    return G_SOURCE_CONTINUE;
}

gboolean SocketPoller::on_turnEnd_prepare(GSource* source, int* timeout) {
    *timeout = -1;
    reinterpret_cast<Source*>(source)->poller->m_turnEnds();
    return FALSE;
}
