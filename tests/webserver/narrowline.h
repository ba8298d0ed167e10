#pragma once

#include "glibptr.h"

#include <algorithm>

// A line that takes a few bytes at a time, and none in between, from all sockets of this process.
class NarrowLine {
public:
    // Before anything else changes how sockets are written to.
    static void install() {
        const auto socket = GObjectPtr<GSocket>::adopt(g_socket_new(
            G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_STREAM, G_SOCKET_PROTOCOL_TCP, nullptr));
        const auto connection = GObjectPtr<GSocketConnection>::adopt(
            g_socket_connection_factory_create_connection(socket.get()));
        auto* functions = G_POLLABLE_OUTPUT_STREAM_GET_INTERFACE(
            g_io_stream_get_output_stream(G_IO_STREAM(connection.get())));
        original = functions->write_nonblocking;
        functions->write_nonblocking = write;
    }

    NarrowLine() { isNarrow = true; }
    ~NarrowLine() { isNarrow = false; }

private:
    static gssize write(GPollableOutputStream* stream, const void* data, gsize length,
                        GError** error) {
        static gsize count = 0;
        if (!isNarrow)
            return original(stream, data, length, error);
        if (++count % 3 > 0)
            return original(stream, data, std::min(length, count % 1000), error);
        g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK, "");
        return -1;
    }

    static inline decltype(GPollableOutputStreamInterface::write_nonblocking) original = nullptr;
    static inline bool isNarrow = false;
};
