// SPDX-License-Identifier: MIT
#pragma once

#include "connection/transport.h"

#include <memory>

using SSL = struct ssl_st;
using SSL_CTX = struct ssl_ctx_st;

// The server's side of a TLS connection. Begins with its handshake; takes memory for TLS from the
// first byte of the client on.
class TlsTransport : public Transport {
public:
    TlsTransport(SSL_CTX* context, int descriptor);
    ~TlsTransport() override;

    bool isSecure() const override { return true; }
    Handshake handshake() override;
    ssize_t read(char* buffer, size_t size) override;
    bool hasBuffered() const override;
    // One part at a time.
    ssize_t write(std::string_view first, std::string_view second) override;
    ssize_t sendFile(int file, off_t offset, size_t length) override;
    // With close_notify.
    bool endOutput() override;

private:
    ssize_t result(int outcome) const;

    SSL_CTX* m_context;
    SSL* m_ssl = nullptr;
};
