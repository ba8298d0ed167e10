// SPDX-License-Identifier: MIT
#include "connection/outputbuffer.h"

char* OutputBuffer::reserve(size_t length) {
    m_reservedAt = m_bytes.size();
    m_bytes.resize(m_reservedAt + length);
    return m_bytes.data() + m_reservedAt;
}

void OutputBuffer::setReserved(size_t written) {
    m_bytes.resize(m_reservedAt + written);
}

bool OutputBuffer::flush(Transport& transport) {
    while (!isEmpty()) {
        const ssize_t count = transport.write(std::string_view(m_bytes).substr(m_sent));
        if (count < 0)
            return count == Transport::wouldBlock;
        drop(static_cast<size_t>(count));
    }
    return true;
}

ssize_t OutputBuffer::flushWith(Transport& transport, std::string_view more) {
    const size_t kept = size();
    const ssize_t count = kept > 0 ? transport.write(std::string_view(m_bytes).substr(m_sent), more)
                                   : transport.write(more);
    if (count < 0)
        return count;
    const auto sent = static_cast<size_t>(count);
    if (sent < kept) {
        drop(sent);
        return Transport::wouldBlock;
    }
    clear();
    return count - static_cast<ssize_t>(kept);
}

void OutputBuffer::drop(size_t count) {
    m_sent += count;
    if (m_sent == m_bytes.size())
        clear();
}

void OutputBuffer::clear() {
    // Not clear(): an idle connection keeps no memory.
    std::string().swap(m_bytes);
    m_sent = 0;
}
