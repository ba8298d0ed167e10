// SPDX-License-Identifier: MIT
#pragma once

#include "glibptr.h"

#include <gio/gio.h>

// The GIOStream that libsoup gets for one request and its answer. All reads and writes go to the
// peer. Both directions are pollable and never block.
class ExchangeStream {
public:
    class Peer {
    public:
        virtual ~Peer() = default;
        // As read_nonblocking() and write_nonblocking() of pollable streams.
        virtual gssize on_stream_read(char* buffer, gsize size, GError** error) = 0;
        virtual gssize on_stream_write(const char* data, gsize size, GError** error) = 0;
        virtual bool isReadable() const = 0;
        virtual bool isWritable() const = 0;
        // libsoup has closed the stream and calls nothing more. The peer may be deleted here.
        virtual void on_stream_closed() = 0;
    };

    // The peer must live until the stream is closed or this object is gone.
    explicit ExchangeStream(Peer* peer);
    ~ExchangeStream();
    ExchangeStream(const ExchangeStream&) = delete;
    ExchangeStream& operator=(const ExchangeStream&) = delete;

    GIOStream* get() const { return m_stream.get(); }
    // To be called when the peer has become readable or writable again.
    void wakeReader();
    void wakeWriter();
    // Whether libsoup waits for the stream to become readable or writable.
    bool hasReader() const;
    bool hasWriter() const;

private:
    GObjectPtr<GIOStream> m_stream;
};
