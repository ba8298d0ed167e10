#include "socketevents.h"

#include <array>
#include <cerrno>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

// Of a watched socket; belongs to it.
struct SocketEvents::Socket {
    ~Socket() {
        if (events)
            events->m_sockets.erase(id);
    }

    SocketEvents* events; // null when it is not watched any more
    GSocket* socket;
    void* key;
    guint64 id;
    // Whether there may be something to read: the kernel tells of each arrival once.
    bool isReadable = true;
    bool hasEnded = false;
    // A read may stop at urgent data, with more behind it.
    bool hasUrgent = false;
};

struct SocketEvents::EpollSource {
    GSource base;
    SocketEvents* events;
    gpointer descriptor;
};

namespace {

// Of one turn of the loop; the kernel keeps the others for the next one.
constexpr int maxEvents = 64;

GQuark socketQuark() {
    static const GQuark quark = g_quark_from_static_string("plix-socket-events");
    return quark;
}

} // namespace

// In the place of the functions of GIO's streams that read from sockets.
struct SocketInputHooks {
    using Socket = SocketEvents::Socket;

    // What a stream of a watched socket waits with.
    struct Source {
        GSource base;
        Socket* socket;
        GObject* stream; // holds the socket
    };

    static inline GPollableInputStreamInterface original{};
    static inline GSourceFuncs sourceFuncs{};

    static void install() {
        if (original.read_nonblocking)
            return;
        // GIO's headers do not show it; it exists as soon as a connection has a stream.
        const GType type = g_type_from_name("GSocketInputStream");
        if (!g_type_is_a(type, G_TYPE_POLLABLE_INPUT_STREAM))
            return;
        sourceFuncs.prepare = [](GSource* source, int* timeout) {
            *timeout = -1;
            return check(source);
        };
        sourceFuncs.check = check;
        sourceFuncs.dispatch = dispatch;
        sourceFuncs.finalize = [](GSource* source) {
            g_object_unref(reinterpret_cast<Source*>(source)->stream);
        };
        // Streams over streams make a closure of it that does nothing: it wakes theirs.
        sourceFuncs.closure_callback =
            G_SOURCE_FUNC(+[](GObject*, gpointer) -> gboolean { return G_SOURCE_CONTINUE; });

        // The reference is kept: so is the change.
        auto* functions = static_cast<GPollableInputStreamInterface*>(
            g_type_interface_peek(g_type_class_ref(type), G_TYPE_POLLABLE_INPUT_STREAM));
        original = *functions;
        functions->read_nonblocking = read;
        functions->create_source = createSource;
    }

    // Null for a stream of another socket, and once it is not watched any more.
    static Socket* find(GPollableInputStream* stream) {
        auto* socket = static_cast<Socket*>(g_object_get_qdata(G_OBJECT(stream), socketQuark()));
        if (!socket) {
            GSocket* itsSocket = nullptr;
            g_object_get(stream, "socket", &itsSocket, nullptr);
            if (!itsSocket)
                return nullptr;
            socket = static_cast<Socket*>(g_object_get_qdata(G_OBJECT(itsSocket), socketQuark()));
            g_object_set_qdata(G_OBJECT(stream), socketQuark(), socket);
            g_object_unref(itsSocket);
        }
        return socket && socket->events && !g_socket_is_closed(socket->socket) ? socket : nullptr;
    }

    static gssize read(GPollableInputStream* stream, void* buffer, gsize count, GError** error) {
        Socket* socket = find(stream);
        if (!socket)
            return original.read_nonblocking(stream, buffer, count, error);
        ssize_t length = -1;
        int reason = EAGAIN;
        if (socket->isReadable) {
            do
                length = recv(g_socket_get_fd(socket->socket), buffer, count, MSG_DONTWAIT);
            while (length < 0 && errno == EINTR);
            reason = errno;
        }
        if (length >= 0) {
            // The rest, if there will be one, is told of; but an end that came with it is not.
            if (static_cast<gsize>(length) < count && !socket->hasEnded && !socket->hasUrgent)
                socket->isReadable = false;
            return length;
        }
        if (reason == EAGAIN)
            socket->isReadable = false;
        g_set_error_literal(error, G_IO_ERROR, g_io_error_from_errno(reason), g_strerror(reason));
        return -1;
    }

    static GSource* createSource(GPollableInputStream* stream, GCancellable* cancellable) {
        Socket* socket = find(stream);
        if (!socket)
            return original.create_source(stream, cancellable);
        auto* source = reinterpret_cast<Source*>(g_source_new(&sourceFuncs, sizeof(Source)));
        source->socket = socket;
        source->stream = G_OBJECT(g_object_ref(stream));
        if (cancellable) {
            GSource* cancelled = g_cancellable_source_new(cancellable);
            g_source_set_dummy_callback(cancelled);
            g_source_add_child_source(&source->base, cancelled);
            g_source_unref(cancelled);
        }
        return &source->base;
    }

    static gboolean check(GSource* source) {
        return reinterpret_cast<Source*>(source)->socket->isReadable;
    }

    static gboolean dispatch(GSource* source, GSourceFunc callback, gpointer data) {
        // GLib's sources hand on all kinds of functions as this one.
        const auto function =
            reinterpret_cast<GPollableSourceFunc>(reinterpret_cast<void (*)()>(callback));
        return function ? function(reinterpret_cast<Source*>(source)->stream, data)
                        : G_SOURCE_CONTINUE;
    }
};

SocketEvents::SocketEvents(Callback ended)
    : m_callback(std::move(ended)), m_epoll(epoll_create1(EPOLL_CLOEXEC)) {
    static GSourceFuncs functions{nullptr, on_check, on_dispatch, nullptr, nullptr, nullptr};
    auto* source = reinterpret_cast<EpollSource*>(g_source_new(&functions, sizeof(EpollSource)));
    source->events = this;
    source->descriptor = g_source_add_unix_fd(&source->base, m_epoll, G_IO_IN);
    // Before those of all sockets that it is asked for, which find their news when their turn
    // comes.
    g_source_attach(&source->base, nullptr);
    m_source.reset(&source->base);
}

SocketEvents::~SocketEvents() {
    for (const auto& [id, socket] : m_sockets)
        socket->events = nullptr;
    m_source.reset();
    close(m_epoll);
}

void SocketEvents::add(GSocket* socket, void* key) {
    SocketInputHooks::install();
    epoll_event event{};
    event.events = EPOLLIN | EPOLLPRI | EPOLLRDHUP | EPOLLET;
    event.data.u64 = ++m_lastId;
    // What the kernel has no room for is left to GIO: its end is noticed when it is read.
    if (epoll_ctl(m_epoll, EPOLL_CTL_ADD, g_socket_get_fd(socket), &event) != 0)
        return;
    auto* entry = new Socket{this, socket, key, m_lastId};
    m_sockets.emplace(entry->id, entry);
    g_object_set_qdata_full(G_OBJECT(socket), socketQuark(), entry,
                            [](void* data) { delete static_cast<Socket*>(data); });
}

void SocketEvents::remove(GSocket* socket) {
    auto* entry = static_cast<Socket*>(g_object_get_qdata(G_OBJECT(socket), socketQuark()));
    if (!entry || !entry->events)
        return;
    epoll_ctl(m_epoll, EPOLL_CTL_DEL, g_socket_get_fd(socket), nullptr);
    m_sockets.erase(entry->id);
    entry->events = nullptr;
    // Who waits for it now has to find another way.
    entry->isReadable = true;
}

void SocketEvents::fetch() {
    std::array<epoll_event, maxEvents> events;
    const int count = epoll_wait(m_epoll, events.data(), maxEvents, 0);
    for (int i = 0; i < count; ++i) {
        const epoll_event& event = events[static_cast<size_t>(i)];
        // A copy: the kernel packs its structure.
        const guint64 id = event.data.u64;
        const auto found = m_sockets.find(id);
        if (found == m_sockets.end())
            continue;
        Socket* socket = found->second;
        socket->isReadable = true;
        socket->hasUrgent = socket->hasUrgent || (event.events & EPOLLPRI) != 0;
        if (socket->hasEnded || (event.events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) == 0)
            continue;
        socket->hasEnded = true;
        m_ended.push_back(GObjectPtr<GSocket>::share(socket->socket));
    }
}

void SocketEvents::tellEnds() {
    // One by one: who hears of it may close others.
    while (!m_ended.empty()) {
        const GObjectPtr<GSocket> socket = std::move(m_ended.back());
        m_ended.pop_back();
        const auto* entry =
            static_cast<Socket*>(g_object_get_qdata(G_OBJECT(socket.get()), socketQuark()));
        if (entry->events && !g_socket_is_closed(socket.get()))
            m_callback(entry->key);
    }
}

gboolean SocketEvents::on_check(GSource* source) {
    auto* epoll = reinterpret_cast<EpollSource*>(source);
    if (g_source_query_unix_fd(source, epoll->descriptor) & G_IO_IN)
        epoll->events->fetch();
    return !epoll->events->m_ended.empty();
}

gboolean SocketEvents::on_dispatch(GSource* source, GSourceFunc, gpointer) {
    reinterpret_cast<EpollSource*>(source)->events->tellEnds();
    return G_SOURCE_CONTINUE;
}
