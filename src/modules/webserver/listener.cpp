#include "listener.h"

#include "core/dbglog.h"

#include <algorithm>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
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
// How long the kernel keeps a client of TLS to itself that has sent nothing: each that is accepted
// keeps one of GLib's few threads until its handshake is over.
constexpr int deferSeconds = 10;

int descriptorLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    return static_cast<int>(std::min<rlim_t>(limit.rlim_cur, INT_MAX));
}

} // namespace

Listener::Listener(SoupServer* server) : m_server(server), m_context(g_main_context_new()) {
    m_retry.setInterval(retryMs);
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &Listener::watch);
}

Listener::~Listener() = default;

bool Listener::listen(int port, int options, GError** error) {
    m_options = options;
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
    m_watches.clear();
    m_retry.stop();
}

void Listener::watch() {
    m_watches.clear();
    GSList* sockets = soup_server_get_listeners(m_server);
    for (GSList* entry = sockets; entry; entry = entry->next) {
        auto* socket = static_cast<GSocket*>(entry->data);
        ::listen(g_socket_get_fd(socket), backlog);
        if (m_options & SOUP_SERVER_LISTEN_HTTPS)
            g_socket_set_option(socket, IPPROTO_TCP, TCP_DEFER_ACCEPT, deferSeconds, nullptr);
        ScopedSource source(g_socket_create_source(socket, G_IO_IN, nullptr));
        g_source_set_callback(source.get(), G_SOURCE_FUNC(on_readable), this, nullptr);
        g_source_attach(source.get(), nullptr);
        m_watches.push_back(std::move(source));
    }
    g_slist_free(sockets);
}

void Listener::wait() {
    m_watches.clear();
    m_retry.start();
}

bool Listener::hasRoom(GSocket* socket) {
    const int limit = descriptorLimit();
    // The lowest free descriptor tells how many are in use.
    const int lowest = fcntl(g_socket_get_fd(socket), F_DUPFD_CLOEXEC, 0);
    if (lowest >= 0)
        ::close(lowest);
    const bool room =
        lowest >= 0 && lowest < limit - std::min(reservedDescriptors, limit / reservedPart);
    if (!room)
        noteShortage(limit);
    return room;
}

// Once per shortage: while clients come and go, it ends and begins again many times a second.
void Listener::noteShortage(int limit) {
    if (!m_sinceShortage.isValid() || m_sinceShortage.hasExpired(quietMs))
        dbglog_warning("No file descriptors left for further connections (limit "
                       << limit << "): new clients wait until others have left");
    m_sinceShortage.start();
}

void Listener::accept(GSocket* socket) {
    if (!hasRoom(socket))
        return wait();
    // Nothing to do means that libsoup has given this socket up after an error.
    if (!g_main_context_iteration(m_context.get(), FALSE) &&
        g_socket_condition_check(socket, G_IO_IN) == G_IO_IN)
        revive(socket);
}

void Listener::revive(GSocket* socket) {
    dbglog_warning("Accepting a connection failed, trying again");
    const auto held = GObjectPtr<GSocket>::share(socket);
    GErrorPtr error;
    g_main_context_push_thread_default(m_context.get());
    if (!soup_server_listen_socket(m_server, held.get(),
                                   static_cast<SoupServerListenOptions>(m_options), error.out()))
        dbglog_error("Listening again failed: " << error.message());
    g_main_context_pop_thread_default(m_context.get());
    wait();
}

gboolean Listener::on_readable(GSocket* socket, GIOCondition, gpointer self) {
    static_cast<Listener*>(self)->accept(socket);
    return G_SOURCE_CONTINUE;
}
