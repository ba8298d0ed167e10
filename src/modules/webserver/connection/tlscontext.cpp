// SPDX-License-Identifier: MIT
#include "connection/tlscontext.h"

#include "connection/tlstransport.h"
#include "glibptr.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

namespace {

using BioPtr = std::unique_ptr<BIO, GFree<BIO_free_all>>;
using X509Ptr = std::unique_ptr<X509, GFree<X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, GFree<EVP_PKEY_free>>;

QString lastError() {
    char text[256];
    ERR_error_string_n(ERR_get_error(), text, sizeof text);
    ERR_clear_error();
    return QString::fromLatin1(text);
}

BioPtr reader(const QByteArray& text) {
    return BioPtr(BIO_new_mem_buf(text.constData(), text.size()));
}

bool useCertificates(SSL_CTX* context, const QByteArray& text) {
    const BioPtr bio = reader(text);
    const X509Ptr own(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
    if (!own || SSL_CTX_use_certificate(context, own.get()) != 1)
        return false;
    while (const X509Ptr next{PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr)}) {
        if (SSL_CTX_add1_chain_cert(context, next.get()) != 1)
            return false;
    }
    // The end of the text is reported as an error.
    ERR_clear_error();
    return true;
}

bool useKey(SSL_CTX* context, const QByteArray& text) {
    const BioPtr bio = reader(text);
    const KeyPtr key(PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr));
    return key && SSL_CTX_use_PrivateKey(context, key.get()) == 1 &&
           SSL_CTX_check_private_key(context) == 1;
}

} // namespace

std::shared_ptr<TlsContext> TlsContext::create(const QByteArray& certificates,
                                               const QByteArray& key, QString* error) {
    ERR_clear_error();
    std::shared_ptr<TlsContext> context(new TlsContext(SSL_CTX_new(TLS_server_method())));
    SSL_CTX* ssl = context->m_context;
    SSL_CTX_set_min_proto_version(ssl, TLS1_2_VERSION);
    SSL_CTX_set_options(ssl, SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE |
                                 SSL_OP_PRIORITIZE_CHACHA);
    // Idle connections keep no buffers. What is written stays in the output buffer, which may move.
    SSL_CTX_set_mode(ssl, SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE |
                              SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    // A record in one call of the system instead of two.
    SSL_CTX_set_read_ahead(ssl, 1);
    // Sessions are resumed by tickets; nothing about them is kept here.
    SSL_CTX_set_session_cache_mode(ssl, SSL_SESS_CACHE_OFF);
    if (useCertificates(ssl, certificates) && useKey(ssl, key))
        return context;
    *error = lastError();
    return nullptr;
}

TlsContext::~TlsContext() {
    SSL_CTX_free(m_context);
}

std::unique_ptr<Transport> TlsContext::newTransport(int descriptor) const {
    return std::make_unique<TlsTransport>(m_context, descriptor);
}
