// SPDX-License-Identifier: MIT
#pragma once

#include "connection/chunkframing.h"
#include "connection/headscanner.h"
#include "connection/refusal.h"
#include "connection/requesthead.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Cuts the bytes of a connection into requests and decides what of them the engine gets to see. The
// engine reads leniently; a request that it and another program on the way could read in different
// ways is refused here, before the engine sees any of it. It follows the grammar of RFC 9112 and
// RFC 9110 and knows nothing of sockets.
//
// One is for one connection and for one request after the other: take() until Complete, next(),
// take() again. After a refusal the connection cannot go on, because nobody knows where the next
// request begins.
class RequestFraming {
public:
    enum class Phase { Head, Body, Complete, Refused };

    // Some clients send an empty line after a body; nobody sends many.
    static constexpr int maxEmptyLines = 8;

    // Whether the connection is TLS: absolute targets must be "https" then, otherwise "http".
    explicit RequestFraming(bool isSecure) : m_isSecure(isSecure) {}

    // Takes bytes of the connection: at most up to the end of the request's head, or, in its body,
    // up to the end of the body; returns how many. Appends to `vetted` what the engine gets, of a
    // head all at once when it has ended and is accepted.
    std::size_t take(std::string_view bytes, std::string& vetted);
    // The client has ended its side of the connection. Between two requests that means nothing.
    void takeEnd();

    Phase phase() const { return m_phase; }
    const Refusal& refusal() const { return m_refusal; }
    // Nothing of a request has come; empty lines before it do not count.
    bool isIdle() const { return m_phase == Phase::Head && m_head.empty(); }
    // Bytes of an unfinished head that are kept in memory.
    std::size_t headBytes() const { return m_head.size(); }

    // Of the request whose head has ended:
    bool isHttp11() const { return m_request.isHttp11; }
    bool isHead() const { return m_request.isHead; }
    bool keepsAlive() const { return m_request.keepsAlive; }
    // A body of at least a byte, or chunked.
    bool hasBody() const { return m_request.isChunked || m_request.contentLength > 0; }
    // 0 without a body, -1 for chunks.
    std::int64_t contentLength() const {
        return m_request.isChunked ? -1 : m_request.contentLength;
    }

    // After Complete: begins with the next request.
    void next();

private:
    std::size_t takeHead(std::string_view bytes, std::string& vetted);
    std::size_t skipEmptyLines(std::string_view bytes);
    void endHead(std::string_view head, std::string& vetted);
    std::size_t takeBody(std::string_view bytes, std::string& vetted);
    std::size_t takeChunks(std::string_view bytes, std::string& vetted);
    void refuse(const Refusal& refusal);

    bool m_isSecure;
    bool m_afterCr = false;
    int m_emptyLines = 0;
    Phase m_phase = Phase::Head;
    Refusal m_refusal;
    // As far as it has come; empty when a head comes in one piece.
    std::string m_head;
    HeadScanner m_scanner;
    RequestHead m_request;
    // Of a body with a length.
    std::int64_t m_missing = 0;
    ChunkFraming m_chunks;
};
