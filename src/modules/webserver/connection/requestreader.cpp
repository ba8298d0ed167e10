// SPDX-License-Identifier: MIT
#include "connection/requestreader.h"

#include <utility>

namespace {

constexpr size_t readBytes = 65536;
// A client that sends many requests at once leaves the turn to others after so many.
constexpr int requestsPerTurn = 16;

} // namespace

bool RequestReader::receive() {
    char buffer[readBytes];
    do {
        const ssize_t count = m_transport.read(buffer, sizeof buffer);
        if (count == Transport::wouldBlock)
            return true;
        // A TLS connection that ends without close_notify looks like a failure.
        if (count < 0 && !m_transport.isSecure())
            return false;
        if (count <= 0) {
            end();
            return true;
        }
        consume({buffer, static_cast<size_t>(count)});
    } while ((m_owner.isAwaitingRequest() || m_owner.isAwaitingBody()) && m_input.empty() &&
             m_transport.hasBuffered());
    return true;
}

void RequestReader::resume() {
    if (!m_input.empty())
        consume({});
    if (m_isAtEnd && m_input.empty() && m_owner.isAwaitingRequest())
        end();
}

void RequestReader::end() {
    m_isAtEnd = true;
    m_framing.takeEnd();
    if (m_framing.refusal())
        m_owner.on_reader_refused();
    else
        m_owner.on_reader_end();
}

void RequestReader::consume(std::string_view bytes) {
    std::string earlier;
    if (!m_input.empty()) {
        earlier.swap(m_input);
        bytes = earlier.append(bytes);
    }
    m_isBusy = true;
    int requests = 0;
    while (!bytes.empty() && requests < requestsPerTurn) {
        if (m_owner.isAwaitingRequest() && takeHead(&bytes))
            ++requests;
        else if (!m_owner.isAwaitingBody() || !takeBody(&bytes))
            break;
    }
    m_isBusy = false;
    m_input = bytes;
}

// Whether a request has begun.
bool RequestReader::takeHead(std::string_view* bytes) {
    const bool wasIdle = m_framing.isIdle();
    std::string vetted;
    bytes->remove_prefix(m_framing.take(*bytes, vetted));
    const size_t headSize = vetted.size();
    if (m_framing.phase() == RequestFraming::Phase::Body)
        bytes->remove_prefix(m_framing.take(*bytes, vetted));
    switch (m_framing.phase()) {
    case RequestFraming::Phase::Refused:
        m_owner.on_reader_refused();
        return false;
    case RequestFraming::Phase::Head:
        if (wasIdle && !m_framing.isIdle())
            m_owner.on_reader_begun();
        return false;
    default:
        m_owner.on_reader_request(std::move(vetted), headSize);
        return true;
    }
}

// Whether something of the body was taken.
bool RequestReader::takeBody(std::string_view* bytes) {
    if (m_framing.phase() != RequestFraming::Phase::Body)
        return false;
    bytes->remove_prefix(m_framing.take(*bytes, m_owner.bodyInput()));
    if (m_framing.refusal()) {
        m_owner.on_reader_refused();
        return false;
    }
    m_owner.on_reader_body();
    return true;
}
