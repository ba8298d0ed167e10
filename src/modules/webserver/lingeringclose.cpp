#include "lingeringclose.h"

namespace {

constexpr int microsecondsPerMs = 1000;
constexpr int discardBytes = 16384;

} // namespace

LingeringClose::LingeringClose(GObjectPtr<GIOStream> stream, GObjectPtr<GSocket> socket,
                               const QByteArray& lastWords)
    : m_stream(std::move(stream)), m_socket(std::move(socket)),
      m_deadline(g_get_monotonic_time() + gint64(limitMs) * microsecondsPerMs) {
    GErrorPtr error;
    g_pollable_output_stream_write_nonblocking(
        G_POLLABLE_OUTPUT_STREAM(g_io_stream_get_output_stream(m_stream.get())),
        lastWords.constData(), static_cast<gsize>(lastWords.size()), nullptr, error.out());
    // Below TLS, whose own farewell would wait for a client that does not read.
    g_socket_shutdown(m_socket.get(), FALSE, TRUE, nullptr);
    g_socket_set_blocking(m_socket.get(), FALSE);
    m_source.reset(g_socket_create_source(m_socket.get(), G_IO_IN, nullptr));
    g_source_set_callback(m_source.get(), G_SOURCE_FUNC(on_readable), this, nullptr);
    g_source_attach(m_source.get(), nullptr);
}

LingeringClose::~LingeringClose() {
    m_source.reset();
    g_socket_close(m_socket.get(), nullptr);
}

bool LingeringClose::isOver() const {
    return !m_source || g_get_monotonic_time() > m_deadline;
}

void LingeringClose::discard() {
    char bytes[discardBytes];
    GErrorPtr error;
    const gssize count =
        g_socket_receive(m_socket.get(), bytes, sizeof bytes, nullptr, error.out());
    if (count > 0 || g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK))
        return;
    m_source.reset();
    g_socket_close(m_socket.get(), nullptr);
}

gboolean LingeringClose::on_readable(GSocket*, GIOCondition, gpointer self) {
    static_cast<LingeringClose*>(self)->discard();
    return G_SOURCE_CONTINUE;
}
