// SPDX-License-Identifier: MIT
#include "connection/tlstransport.h"

#include <algorithm>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <unistd.h>

namespace {

constexpr size_t recordBytes = 16384;

} // namespace

TlsTransport::TlsTransport(SSL_CTX* context, int descriptor)
    : Transport(descriptor), m_context(context) {
    SSL_CTX_up_ref(context);
}

TlsTransport::~TlsTransport() {
    SSL_free(m_ssl);
    SSL_CTX_free(m_context);
}

ssize_t TlsTransport::result(int outcome) const {
    switch (SSL_get_error(m_ssl, outcome)) {
    case SSL_ERROR_WANT_READ:
    case SSL_ERROR_WANT_WRITE:
        return wouldBlock;
    case SSL_ERROR_ZERO_RETURN:
        return 0;
    default:
        return failed;
    }
}

Transport::Handshake TlsTransport::handshake() {
    ERR_clear_error();
    if (!m_ssl) {
        m_ssl = SSL_new(m_context);
        SSL_set_fd(m_ssl, descriptor());
    }
    const int outcome = SSL_accept(m_ssl);
    if (outcome == 1)
        return Handshake::Done;
    switch (SSL_get_error(m_ssl, outcome)) {
    case SSL_ERROR_WANT_READ:
        return Handshake::NeedsInput;
    case SSL_ERROR_WANT_WRITE:
        return Handshake::NeedsRoom;
    default:
        return Handshake::Failed;
    }
}

ssize_t TlsTransport::read(char* buffer, size_t size) {
    ERR_clear_error();
    size_t count = 0;
    const int outcome = SSL_read_ex(m_ssl, buffer, size, &count);
    return outcome == 1 ? static_cast<ssize_t>(count) : result(outcome);
}

bool TlsTransport::hasBuffered() const {
    return m_ssl && SSL_has_pending(m_ssl);
}

ssize_t TlsTransport::write(std::string_view first, std::string_view) {
    ERR_clear_error();
    size_t count = 0;
    const int outcome = SSL_write_ex(m_ssl, first.data(), first.size(), &count);
    return outcome == 1 ? static_cast<ssize_t>(count) : result(outcome);
}

ssize_t TlsTransport::sendFile(int file, off_t offset, size_t length) {
    char bytes[recordBytes];
    const ssize_t count = pread(file, bytes, std::min(length, sizeof bytes), offset);
    return count > 0 ? write({bytes, static_cast<size_t>(count)}, {}) : count == 0 ? 0 : failed;
}

bool TlsTransport::endOutput() {
    if (m_ssl && SSL_is_init_finished(m_ssl)) {
        ERR_clear_error();
        const int outcome = SSL_shutdown(m_ssl);
        if (outcome < 0 && SSL_get_error(m_ssl, outcome) == SSL_ERROR_WANT_WRITE)
            return false;
        ERR_clear_error();
    }
    return Transport::endOutput();
}
