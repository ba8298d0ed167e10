#include "unfinishedhandshake.h"

namespace {

// For a destructor, which has no event loop: a thread that is slower keeps its connection.
constexpr int waitMs = 1000;
constexpr int microsecondsPerMs = 1000;

} // namespace

UnfinishedHandshake::UnfinishedHandshake(GObjectPtr<GIOStream> stream, GObjectPtr<GSocket> socket)
    : m_stream(std::move(stream)), m_socket(std::move(socket)) {
    g_socket_shutdown(m_socket.get(), TRUE, TRUE, nullptr);
    m_source.reset(g_pollable_input_stream_create_source(input(), nullptr));
    g_source_set_callback(m_source.get(), G_SOURCE_FUNC(on_readable), this, nullptr);
    g_source_attach(m_source.get(), nullptr);
}

UnfinishedHandshake::~UnfinishedHandshake() {
    m_source.reset();
    for (int ms = 0; !readOutcome() && ms < waitMs; ++ms)
        g_usleep(microsecondsPerMs);
    g_socket_close(m_socket.get(), nullptr);
}

GPollableInputStream* UnfinishedHandshake::input() const {
    return G_POLLABLE_INPUT_STREAM(g_io_stream_get_input_stream(m_stream.get()));
}

bool UnfinishedHandshake::readOutcome() {
    char byte = 0;
    GErrorPtr error;
    g_pollable_input_stream_read_nonblocking(input(), &byte, sizeof byte, nullptr, error.out());
    return !g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK);
}

gboolean UnfinishedHandshake::on_readable(GPollableInputStream*, gpointer data) {
    auto* self = static_cast<UnfinishedHandshake*>(data);
    if (!self->readOutcome())
        return G_SOURCE_CONTINUE;
    // The connection leaves with this object, at its owner's next look.
    self->m_source.reset();
    return G_SOURCE_REMOVE;
}
