// SPDX-License-Identifier: MIT
#pragma once

#include "connection/transport.h"

#include <string>
#include <string_view>

// Buffers small writes to a connection, so that they are sent together: the head of an answer with
// its body, and short answers to pipelined requests.
//
// Appended bytes count as written. Uses no memory while it is empty.
class OutputBuffer {
public:
    // One record of TLS.
    static constexpr size_t capacity = 16384;

    bool isEmpty() const { return m_bytes.empty(); }
    size_t size() const { return m_bytes.size() - m_sent; }
    // How much may be appended. Heads and last chunks may exceed it.
    size_t room() const { return m_bytes.size() < capacity ? capacity - m_bytes.size() : 0; }
    void append(std::string_view bytes) { m_bytes.append(bytes); }
    // Reserves `length` bytes that the caller writes; setReserved() then says how many it wrote.
    char* reserve(size_t length);
    void setReserved(size_t written);

    // Sends all it can. `false`: the connection is broken.
    bool flush(Transport& transport);
    // The same with `more` behind the buffered bytes. Returns how many of `more` were sent, or a
    // result of Transport.
    ssize_t flushWith(Transport& transport, std::string_view more);
    void clear();

private:
    void drop(size_t count);

    std::string m_bytes;
    size_t m_sent = 0;
    size_t m_reservedAt = 0;
};
