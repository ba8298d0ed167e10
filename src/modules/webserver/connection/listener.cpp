// SPDX-License-Identifier: MIT
#include "connection/listener.h"

#include "connection/connections.h"
#include "core/dbglog.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// What connections leave free for files, pipes and the programs that the process runs.
constexpr int reservedDescriptors = 128;
// Of a small limit no more than this part is held back.
constexpr int reservedPart = 4;
// How often a full process looks for free descriptors.
constexpr int retryMs = 250;
// A shortage that comes back sooner is still the same one.
constexpr int quietMs = 60000;
// GLib queues ten clients, which a page's connections or renewed polls overflow; a client that is
// not queued waits a second before it tries again.
constexpr int backlog = 512;
// Of one turn of the main loop, so that a crowd does not keep those waiting who are there.
constexpr int acceptedPerTurn = 64;

int descriptorLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    return static_cast<int>(std::min<rlim_t>(limit.rlim_cur, INT_MAX));
}

bool isClientWaiting(int listening) {
    pollfd socket{listening, POLLIN, 0};
    return poll(&socket, 1, 0) > 0;
}

} // namespace

// One of the listening sockets.
class Listener::Socket : public SocketPoller::Handler {
public:
    Socket(Listener& listener, int descriptor)
        : m_listener(listener), m_descriptor(descriptor),
          m_registration(listener.m_connections.poller(), descriptor, EPOLLIN, *this) {}

    void stop() { m_registration.stop(); }
    void on_socket_ready(std::uint32_t) override { m_listener.accept(m_descriptor); }

private:
    Listener& m_listener;
    int m_descriptor;
    SocketPoller::Registration m_registration;
};

Listener::Listener(SoupServer* server, Connections& connections)
    : m_server(server), m_connections(connections), m_context(g_main_context_new()) {
    m_retry.setInterval(retryMs);
    m_retry.setSingleShot(true);
    QObject::connect(&m_retry, &QTimer::timeout, &m_retry, [this] { watch(); });
}

Listener::~Listener() = default;

bool Listener::listen(int port, int options, GError** error) {
    // GIO would listen on what the number leaves in 16 bits.
    if (port > G_MAXUINT16) {
        g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_INVALID_ARGUMENT, "No such port");
        return false;
    }
    g_main_context_push_thread_default(m_context.get());
    const bool listening = soup_server_listen_all(
        m_server, static_cast<guint>(port), static_cast<SoupServerListenOptions>(options), error);
    g_main_context_pop_thread_default(m_context.get());
    if (listening)
        watch();
    return listening;
}

void Listener::close() {
    m_sockets.clear();
    m_retry.stop();
}

void Listener::watch() {
    m_sockets.clear();
    GSList* sockets = soup_server_get_listeners(m_server);
    for (GSList* entry = sockets; entry; entry = entry->next) {
        const int descriptor = g_socket_get_fd(static_cast<GSocket*>(entry->data));
        ::listen(descriptor, backlog);
        m_sockets.push_back(std::make_unique<Socket>(*this, descriptor));
    }
    g_slist_free(sockets);
}

// Clients wait in the kernel's queue meanwhile.
void Listener::pause() {
    m_retry.start();
    for (const auto& socket : m_sockets)
        socket->stop();
}

void Listener::accept(int listening) {
    for (int count = 0; count < acceptedPerTurn; ++count) {
        if (!hasRoom(listening)) {
            // Nobody has to go for a client that is not there.
            if (!isClientWaiting(listening))
                return;
            if (!makeRoom())
                return pause();
        }
        sockaddr_storage remote{};
        socklen_t length = sizeof remote;
        const int descriptor = accept4(listening, reinterpret_cast<sockaddr*>(&remote), &length,
                                       SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (descriptor < 0 && (errno == EMFILE || errno == ENFILE))
            return pause();
        if (descriptor < 0)
            return;
        m_connections.accept(descriptor, remote);
    }
}

// The lowest free descriptor tells how many are in use.
bool Listener::hasRoom(int anyDescriptor) {
    const int limit = descriptorLimit();
    const int lowest = fcntl(anyDescriptor, F_DUPFD_CLOEXEC, 0);
    if (lowest >= 0)
        ::close(lowest);
    return lowest >= 0 && lowest < limit - std::min(reservedDescriptors, limit / reservedPart);
}

bool Listener::makeRoom() {
    // Logged once per shortage: while clients come and go, it ends and begins again many times a
    // second.
    if (!m_sinceShortage.isValid() || m_sinceShortage.hasExpired(quietMs))
        dbglog_warning("No file descriptors left for further connections (limit "
                       << descriptorLimit() << "): those that have been idle longest are closed");
    m_sinceShortage.start();
    return m_connections.budget().giveUpOne("the process has no file descriptors left");
}
