#include "wholebody.h"

#include <QHash>

namespace {

constexpr char bodyEnd[] = "\r\n0\r\n\r\n";

// By what libsoup is given to write, which is all that it passes on.
QHash<const void*, WholeBody*>& pieces() {
    static QHash<const void*, WholeBody*> pieces;
    return pieces;
}

GQuark endedQuark() {
    static const GQuark quark = g_quark_from_static_string("plix-body-ended");
    return quark;
}

GOutputStreamClass* streamClass = nullptr;
decltype(GOutputStreamClass::close_async) closeInThread = nullptr;
decltype(GPollableOutputStreamInterface::write_nonblocking) writeChunk = nullptr;

} // namespace

struct BodyStreamHooks {
    static gssize write(GPollableOutputStream* stream, const void* data, gsize length,
                        GError** error) {
        WholeBody* body = pieces().value(data);
        if (!body || !body->m_isWhole) {
            if (body)
                body->m_isBegun = true;
            return writeChunk(stream, data, length, error);
        }
        auto* connection = G_POLLABLE_OUTPUT_STREAM(
            g_filter_output_stream_get_base_stream(G_FILTER_OUTPUT_STREAM(stream)));
        const gssize missing = body->m_text.size() - body->m_written;
        const gssize written = g_pollable_output_stream_write_nonblocking(
            connection, body->m_text.constData() + body->m_written, static_cast<gsize>(missing),
            nullptr, error);
        if (written < 0)
            return written;
        body->m_written += written;
        if (written < missing) {
            g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK, "");
            return -1;
        }
        g_object_set_qdata(G_OBJECT(stream), endedQuark(), stream);
        return static_cast<gssize>(length);
    }

    static void close(GOutputStream* stream, int priority, GCancellable* cancellable,
                      GAsyncReadyCallback callback, gpointer data) {
        const bool hasEnded = g_object_get_qdata(G_OBJECT(stream), endedQuark());
        if (!hasEnded && !g_pollable_output_stream_is_writable(G_POLLABLE_OUTPUT_STREAM(stream)))
            return closeInThread(stream, priority, cancellable, callback, data);
        const auto task = GObjectPtr<GTask>::adopt(g_task_new(stream, cancellable, callback, data));
        GError* error = nullptr;
        if (hasEnded || streamClass->close_fn(stream, cancellable, &error))
            g_task_return_boolean(task.get(), TRUE);
        else
            g_task_return_error(task.get(), error);
    }
};

void WholeBody::prepareLibsoup() {
    if (streamClass)
        return;
    // Known to the type system by then, although libsoup's headers do not show it.
    const GType type = g_type_from_name("SoupBodyOutputStream");
    if (!g_type_is_a(type, G_TYPE_FILTER_OUTPUT_STREAM) ||
        !g_type_is_a(type, G_TYPE_POLLABLE_OUTPUT_STREAM))
        return;
    streamClass = static_cast<GOutputStreamClass*>(g_type_class_ref(type));
    closeInThread = streamClass->close_async;
    streamClass->close_async = BodyStreamHooks::close;
    // A stream that closes by itself would be flushed first, in a thread as well. It holds nothing
    // back, and closing flushes it too.
    streamClass->flush_async = nullptr;
    auto* pollable = static_cast<GPollableOutputStreamInterface*>(
        g_type_interface_peek(streamClass, G_TYPE_POLLABLE_OUTPUT_STREAM));
    writeChunk = pollable->write_nonblocking;
    pollable->write_nonblocking = BodyStreamHooks::write;
}

WholeBody::WholeBody(const char* data, int length) : m_length(length) {
    const QByteArray head = QByteArray::number(length, 16) + "\r\n";
    m_text.reserve(head.size() + length + static_cast<int>(sizeof bodyEnd));
    m_text.append(head).append(data, length).append(bodyEnd);
    m_data = m_text.constData() + head.size();
    pieces().insert(m_data, this);
}

WholeBody::~WholeBody() {
    pieces().remove(m_data);
}

SoupBufferPtr WholeBody::newBuffer(const char* data, qint64 length,
                                   std::weak_ptr<WholeBody>* piece) {
    if (!streamClass)
        return SoupBufferPtr(soup_buffer_new(SOUP_MEMORY_COPY, data, static_cast<gsize>(length)));
    auto* owner = new std::shared_ptr<WholeBody>(new WholeBody(data, static_cast<int>(length)));
    *piece = *owner;
    return SoupBufferPtr(soup_buffer_new_with_owner(
        (*owner)->m_data, static_cast<gsize>(length), owner,
        [](void* held) { delete static_cast<std::shared_ptr<WholeBody>*>(held); }));
}
