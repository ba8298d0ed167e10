// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Where an answer ends on the wire: brings the head that the engine writes into the form that the
// client gets, and codes the body.
//
// The engine is given answers of unknown length as bodies that end with the connection, because its
// own chunk coding waits in a thread. A head without a length therefore means: chunks for HTTP/1.1,
// the end of the connection for HTTP/1.0.
class ResponseFraming {
public:
    enum class Body { None, Length, Chunked, UntilClose };
    // Of the marks around a chunk.
    static constexpr size_t chunkOverhead = 20;

    struct Request {
        bool isHttp11 = true;
        bool isHead = false;
        bool keepsAlive = true;
    };

    explicit ResponseFraming(const Request& request) : m_request(request) {}

    // The head as the client gets it. Headers that every answer has are added where they are
    // missing. An interim answer (1xx) passes as it is, and another head follows.
    std::string head(std::string_view engineHead);
    bool hasHead() const { return m_hasHead; }

    Body body() const { return m_body; }
    // Whether the connection has to end behind this answer.
    bool closes() const { return m_closes; }
    // To be told of the bytes of the body that were taken.
    void count(size_t bytes) { m_bytes += static_cast<std::int64_t>(bytes); }
    std::int64_t bytes() const { return m_bytes; }
    // Whether the body is whole; of one without a length the engine has to know.
    bool isWhole(bool engineSaysSo) const;

    // What stands before a chunk of so many bytes, and behind it.
    static std::string chunkHead(size_t size);
    static constexpr std::string_view chunkEnd = "\r\n";
    static constexpr std::string_view lastChunk = "0\r\n\r\n";

private:
    Request m_request;
    bool m_hasHead = false;
    bool m_closes = false;
    Body m_body = Body::None;
    std::int64_t m_length = 0;
    std::int64_t m_bytes = 0;
};

// Of HTTP's headers, for now.
std::string httpDate();
