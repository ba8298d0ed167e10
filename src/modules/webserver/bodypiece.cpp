#include "bodypiece.h"

#include <QHash>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

namespace {

constexpr char chunkEnd[] = "\r\n";
constexpr char bodyEnd[] = "0\r\n\r\n";
constexpr gssize bodyEndSize = sizeof bodyEnd - 1;
// Of a header and what goes with it; as much as one record of TLS carries.
constexpr gsize maxTogether = 16384;

// By what libsoup is given to write, which is all that it passes on.
QHash<const void*, BodyPiece*>& pieces() {
    static QHash<const void*, BodyPiece*> pieces;
    return pieces;
}

GQuark endedQuark() {
    static const GQuark quark = g_quark_from_static_string("plix-body-ended");
    return quark;
}

// Of a connection's stream, and of its socket.
GQuark outletQuark() {
    static const GQuark quark = g_quark_from_static_string("plix-outlet");
    return quark;
}

GOutputStreamClass* streamClass = nullptr;
using WriteFunction = decltype(GPollableOutputStreamInterface::write_nonblocking);
WriteFunction writeChunk = nullptr;

} // namespace

// In the place of the functions of the streams below, of sockets and of TLS. Bodies, which pass
// through BodyStreamHooks, find nothing left to follow here.
struct HeaderHooks {
    using Outlet = BodyPiece::Outlet;
    using OutletPtr = std::shared_ptr<Outlet>;

    static inline GType socketStreamType = 0;
    // One or two types: few enough to search.
    static inline std::vector<std::pair<GType, WriteFunction>> originals;
    // The stream of TLS that is being written; what arrives below it are records.
    static inline thread_local GPollableOutputStream* outer = nullptr;

    static const OutletPtr* get(void* object) {
        return static_cast<OutletPtr*>(g_object_get_qdata(G_OBJECT(object), outletQuark()));
    }

    static void set(void* object, const OutletPtr& outlet) {
        g_object_set_qdata_full(G_OBJECT(object), outletQuark(), new OutletPtr(outlet),
                                [](void* held) { delete static_cast<OutletPtr*>(held); });
    }

    static void install(GType type) {
        if (!g_type_is_a(type, G_TYPE_POLLABLE_OUTPUT_STREAM) ||
            std::any_of(originals.begin(), originals.end(),
                        [type](const auto& original) { return original.first == type; }))
            return;
        // The reference is kept: so is the change.
        auto* functions = static_cast<GPollableOutputStreamInterface*>(
            g_type_interface_peek(g_type_class_ref(type), G_TYPE_POLLABLE_OUTPUT_STREAM));
        originals.emplace_back(type, functions->write_nonblocking);
        functions->write_nonblocking = write;
    }

    static void installFor(GPollableOutputStream* stream) {
        if (!socketStreamType) {
            // GIO's headers do not show it.
            socketStreamType = g_type_from_name("GSocketOutputStream");
            install(socketStreamType);
        }
        install(G_OBJECT_TYPE(stream));
    }

    // The outlet of a stream is that of the socket which it writes to, or which is written to by
    // the stream below it.
    static const OutletPtr* find(GPollableOutputStream* stream) {
        const OutletPtr* outlet = get(stream);
        if (outlet || G_OBJECT_TYPE(stream) != socketStreamType)
            return outlet;
        GSocket* socket = nullptr;
        g_object_get(stream, "socket", &socket, nullptr);
        outlet = socket ? get(socket) : nullptr;
        if (outlet)
            set(stream, *outlet);
        g_clear_object(&socket);
        return outlet;
    }

    static gssize write(GPollableOutputStream* stream, const void* data, gsize length,
                        GError** error) {
        const GType type = G_OBJECT_TYPE(stream);
        const WriteFunction original =
            std::find_if(originals.begin(), originals.end(), [type](const auto& entry) {
                return entry.first == type;
            })->second;
        const OutletPtr* outlet = find(stream);
        if (outer && outlet && !get(outer))
            set(outer, *outlet);
        const bool isSecure = type != socketStreamType;
        if (outer || !isSecure)
            return outlet && (*outlet)->isSecure == isSecure
                       ? writeHeader(original, outlet->get(), stream, data, length, error)
                       : original(stream, data, length, error);
        outer = stream;
        const gssize written =
            outlet ? writeHeader(original, outlet->get(), stream, data, length, error)
                   : original(stream, data, length, error);
        outer = nullptr;
        return written;
    }

    static gssize writeHeader(WriteFunction original, Outlet* outlet, GPollableOutputStream* stream,
                              const void* header, gsize length, GError** error) {
        BodyPiece* piece = outlet->next;
        if (!piece || length >= maxTogether)
            return original(stream, header, length, error);
        std::array<char, maxTogether> text;
        const gsize part = std::min(maxTogether - length, static_cast<gsize>(piece->m_size));
        std::memcpy(text.data(), header, length);
        std::memcpy(text.data() + length, piece->m_begin, part);
        // Who is told to wait comes again with the same, as TLS expects.
        const gssize written = original(stream, text.data(), length + part, error);
        if (written < static_cast<gssize>(length))
            return written;
        outlet->next = nullptr;
        piece->m_written = written - static_cast<gssize>(length);
        return static_cast<gssize>(length);
    }
};

struct BodyStreamHooks {
    static gssize write(GPollableOutputStream* stream, const void* data, gsize length,
                        GError** error) {
        auto* connection = G_POLLABLE_OUTPUT_STREAM(
            g_filter_output_stream_get_base_stream(G_FILTER_OUTPUT_STREAM(stream)));
        HeaderHooks::installFor(connection);
        if (const auto* outlet = HeaderHooks::find(connection)) {
            // Whatever is written now, the header has gone.
            (*outlet)->next = nullptr;
        }
        BodyPiece* piece = pieces().value(data);
        return piece ? writePiece(piece, stream, connection, length, error)
                     : writeChunk(stream, data, length, error);
    }

    static gssize writePiece(BodyPiece* piece, GPollableOutputStream* stream,
                             GPollableOutputStream* connection, gsize length, GError** error) {
        const gssize size = piece->m_size - (piece->m_isWhole ? 0 : bodyEndSize);
        const gssize missing = size - piece->m_written;
        if (missing > 0) {
            const gssize written = g_pollable_output_stream_write_nonblocking(
                connection, piece->m_begin + piece->m_written, static_cast<gsize>(missing), nullptr,
                error);
            if (written < 0)
                return written;
            piece->m_written += written;
            if (written < missing) {
                g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK, "");
                return -1;
            }
        }
        if (piece->m_isWhole)
            g_object_set_qdata(G_OBJECT(stream), endedQuark(), stream);
        return static_cast<gssize>(length);
    }

    static void close(GOutputStream* stream, int priority, GCancellable* cancellable,
                      GAsyncReadyCallback callback, gpointer data) {
        const bool hasEnded = g_object_get_qdata(G_OBJECT(stream), endedQuark());
        const auto task = GObjectPtr<GTask>::adopt(g_task_new(stream, cancellable, callback, data));
        auto* pollable = G_POLLABLE_OUTPUT_STREAM(stream);
        if (hasEnded) {
            g_task_return_boolean(task.get(), TRUE);
        } else if (g_pollable_output_stream_is_writable(pollable)) {
            writeEnd(task.get());
        } else {
            g_task_set_priority(task.get(), priority);
            GSource* source = g_pollable_output_stream_create_source(pollable, cancellable);
            // The loop keeps the source, which holds the task, until the stream is writable.
            g_task_attach_source(task.get(), source, G_SOURCE_FUNC(on_writable));
            g_source_unref(source);
        }
    }

    static gboolean on_writable(GPollableOutputStream*, gpointer task) {
        writeEnd(static_cast<GTask*>(task));
        return G_SOURCE_REMOVE;
    }

    static void writeEnd(GTask* task) {
        auto* stream = G_OUTPUT_STREAM(g_task_get_source_object(task));
        GError* error = nullptr;
        if (streamClass->close_fn(stream, g_task_get_cancellable(task), &error))
            g_task_return_boolean(task, TRUE);
        else
            g_task_return_error(task, error);
    }
};

void BodyPiece::prepareLibsoup() {
    if (streamClass)
        return;
    // Known to the type system by then, although libsoup's headers do not show it.
    const GType type = g_type_from_name("SoupBodyOutputStream");
    if (!g_type_is_a(type, G_TYPE_FILTER_OUTPUT_STREAM) ||
        !g_type_is_a(type, G_TYPE_POLLABLE_OUTPUT_STREAM))
        return;
    streamClass = static_cast<GOutputStreamClass*>(g_type_class_ref(type));
    streamClass->close_async = BodyStreamHooks::close;
    // A stream that closes by itself would be flushed first, in a thread as well. It holds nothing
    // back, and closing flushes it too.
    streamClass->flush_async = nullptr;
    auto* pollable = static_cast<GPollableOutputStreamInterface*>(
        g_type_interface_peek(streamClass, G_TYPE_POLLABLE_OUTPUT_STREAM));
    writeChunk = pollable->write_nonblocking;
    pollable->write_nonblocking = BodyStreamHooks::write;
}

SoupBufferPtr BodyPiece::newChunk(const char* data, qint64 length, std::weak_ptr<BodyPiece>* made) {
    if (!streamClass)
        return SoupBufferPtr(soup_buffer_new(SOUP_MEMORY_COPY, data, static_cast<gsize>(length)));
    const std::shared_ptr<BodyPiece> piece(new BodyPiece);
    const QByteArray mark = QByteArray::number(length, 16) + "\r\n";
    piece->m_text.reserve(
        static_cast<int>(mark.size() + length + sizeof chunkEnd + sizeof bodyEnd));
    piece->m_text.append(mark).append(data, static_cast<int>(length));
    piece->m_text.append(chunkEnd).append(bodyEnd);
    piece->m_begin = piece->m_text.constData();
    piece->m_size = piece->m_text.size();
    piece->m_data = piece->m_begin + mark.size();
    piece->m_length = length;
    pieces().insert(piece->m_data, piece.get());
    return newBuffer(piece, made);
}

SoupBufferPtr BodyPiece::newBuffer(std::shared_ptr<BodyPiece> piece,
                                   std::weak_ptr<BodyPiece>* made) {
    *made = piece;
    const char* data = piece->m_data;
    const auto length = static_cast<gsize>(piece->m_length);
    return SoupBufferPtr(soup_buffer_new_with_owner(
        data, length, new std::shared_ptr<BodyPiece>(std::move(piece)),
        [](void* held) { delete static_cast<std::shared_ptr<BodyPiece>*>(held); }));
}

bool BodyPiece::setComplete(qint64 bodyLength) {
    m_isWhole = m_written == 0 && bodyLength == m_length;
    return m_isWhole;
}

void BodyPiece::followHeader(SoupClientContext* client) {
    GSocket* socket = soup_client_context_get_gsocket(client);
    if (const auto* outlet = HeaderHooks::get(socket)) {
        m_outlet = *outlet;
    } else {
        G_GNUC_BEGIN_IGNORE_DEPRECATIONS
        const bool isSecure = soup_socket_is_ssl(soup_client_context_get_socket(client));
        G_GNUC_END_IGNORE_DEPRECATIONS
        m_outlet.reset(new Outlet{isSecure});
        HeaderHooks::set(socket, m_outlet);
    }
    m_outlet->next = this;
}

void BodyPiece::stopFollowing(GSocket* socket) {
    if (const auto* outlet = HeaderHooks::get(socket))
        (*outlet)->next = nullptr;
}

BodyPiece::~BodyPiece() {
    if (m_outlet && m_outlet->next == this)
        m_outlet->next = nullptr;
    pieces().remove(m_data);
}
