#pragma once

#include "connection/transport.h"

#include <string>
#include <string_view>

// Collects what is written to a connection in small pieces, so that it goes out together: the head
// of an answer with its body, and short answers to requests that came together.
//
// What was appended counts as written. Keeps no memory while it is empty.
class OutputBuffer {
public:
    // One record of TLS.
    static constexpr size_t capacity = 16384;

    bool isEmpty() const { return m_bytes.empty(); }
    size_t size() const { return m_bytes.size() - m_sent; }
    // How much may be appended; heads and the ends of bodies may exceed it.
    size_t room() const { return m_bytes.size() < capacity ? capacity - m_bytes.size() : 0; }
    void append(std::string_view bytes) { m_bytes.append(bytes); }
    // Makes room for so many bytes that the caller writes itself; setWritten() says how many.
    char* reserve(size_t length);
    void setReserved(size_t written);

    // Sends all it can. `false`: the connection is broken.
    bool flush(Transport& transport);
    // The same with bytes behind those that are kept. The number taken of these, or as Transport.
    ssize_t flushWith(Transport& transport, std::string_view more);
    void clear();

private:
    void drop(size_t count);

    std::string m_bytes;
    size_t m_sent = 0;
    size_t m_reservedAt = 0;
};
