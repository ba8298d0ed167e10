#include "tlsfarewell.h"

#include "glibptr.h"

#include <gio/gio.h>

#include <poll.h>

namespace {

decltype(GIOStreamClass::close_fn) originalClose = nullptr;

bool takesMore(GSocket* socket) {
    pollfd entry{g_socket_get_fd(socket), POLLOUT, 0};
    return poll(&entry, 1, 0) > 0;
}

gboolean close(GIOStream* stream, GCancellable* cancellable, GError** error) {
    GIOStream* base = nullptr;
    g_object_get(stream, "base-io-stream", &base, nullptr);
    const auto holder = GObjectPtr<GIOStream>::adopt(base);
    if (G_IS_SOCKET_CONNECTION(base)) {
        GSocket* socket = g_socket_connection_get_socket(G_SOCKET_CONNECTION(base));
        if (!g_socket_is_closed(socket) && !takesMore(socket))
            g_socket_shutdown(socket, FALSE, TRUE, nullptr);
    }
    return originalClose(stream, cancellable, error);
}

} // namespace

void letTlsFarewellsNotWait() {
    GTlsBackend* backend = g_tls_backend_get_default();
    if (originalClose || !g_tls_backend_supports_tls(backend))
        return;
    // The reference is kept: so is the change.
    auto* functions =
        G_IO_STREAM_CLASS(g_type_class_ref(g_tls_backend_get_server_connection_type(backend)));
    originalClose = functions->close_fn;
    functions->close_fn = close;
}
