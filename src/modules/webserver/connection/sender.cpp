// SPDX-License-Identifier: MIT
#include "connection/sender.h"

#include <utility>

void Sender::flushLater() {
    if (!std::exchange(m_isPending, true))
        m_owner.on_sender_pending();
}

void Sender::on_turn_end() {
    m_isPending = false;
    flush();
}

bool Sender::on_room() {
    m_isBlocked = false;
    return flush();
}

bool Sender::flush() {
    if (m_isBlocked)
        return false;
    if (!m_buffer.flush(m_transport))
        breakOff();
    else if (!m_buffer.isEmpty())
        block();
    return m_buffer.isEmpty() && !m_isBroken;
}

ssize_t Sender::send(std::string_view bytes) {
    return m_isBlocked ? Transport::wouldBlock : result(m_buffer.flushWith(m_transport, bytes));
}

ssize_t Sender::sendFile(int file, off_t offset, size_t length) {
    const ssize_t count = result(m_transport.sendFile(file, offset, length));
    return count == 0 ? Transport::failed : count;
}

bool Sender::endOutput() {
    if (m_transport.endOutput())
        return true;
    block();
    return false;
}

ssize_t Sender::result(ssize_t count) {
    if (count == Transport::wouldBlock)
        block();
    else if (count < 0)
        breakOff();
    return count;
}

void Sender::block() {
    m_isBlocked = true;
    m_owner.on_sender_blocked();
}

void Sender::breakOff() {
    m_isBroken = true;
    m_buffer.clear();
    m_owner.on_sender_broken();
}
