// SPDX-License-Identifier: MIT
#pragma once

#include "connection/transport.h"

#include <QByteArray>
#include <QString>

#include <memory>

using SSL_CTX = struct ssl_ctx_st;

// A certificate with its key, and the rules of all TLS connections of a server: TLS 1.2 and later,
// no renegotiation, resumption by session tickets (whose keys are drawn anew with each context).
class TlsContext {
public:
    // PEM texts; the certificate may be followed by those that lead to its authority. Null, and a
    // text in `error`, when they cannot be used together.
    static std::shared_ptr<TlsContext> create(const QByteArray& certificates, const QByteArray& key,
                                              QString* error);
    ~TlsContext();
    TlsContext(const TlsContext&) = delete;
    TlsContext& operator=(const TlsContext&) = delete;

    // Takes the descriptor over.
    std::unique_ptr<Transport> newTransport(int descriptor) const;

private:
    explicit TlsContext(SSL_CTX* context) : m_context(context) {}

    SSL_CTX* m_context;
};
