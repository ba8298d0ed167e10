// SPDX-License-Identifier: MIT
#pragma once

#include "connection/outputbuffer.h"
#include "connection/transport.h"

// The sending side of a connection. Written bytes are buffered and sent at the end of the main
// loop's turn, when the buffer is full, or on request. Never blocks: while the socket's send buffer
// is full, the owner waits until it is writable and then calls on_room().
class Sender {
public:
    class Owner {
    public:
        virtual ~Owner() = default;
        // Asks for a call of on_turn_end() at the end of the turn.
        virtual void on_sender_pending() = 0;
        // The socket's send buffer is full.
        virtual void on_sender_blocked() = 0;
        // Nothing can be sent any more. libsoup may be on the stack.
        virtual void on_sender_broken() = 0;
    };

    Sender(Transport& transport, Owner& owner) : m_transport(transport), m_owner(owner) {}
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    bool isSecure() const { return m_transport.isSecure(); }
    bool isBlocked() const { return m_isBlocked; }
    bool isBroken() const { return m_isBroken; }
    // Short writes go here; flushLater() schedules their sending.
    OutputBuffer& buffer() { return m_buffer; }
    void flushLater();
    // `false` when something is left: it is broken or blocked then.
    bool flush();
    // Sends behind the buffered bytes. Returns the number of bytes sent, or a result of Transport.
    ssize_t send(std::string_view bytes);
    ssize_t sendFile(int file, off_t offset, size_t length);
    // See Transport.
    bool endOutput();

    // To be called at the end of the turn, and when the socket has room.
    void on_turn_end();
    bool on_room();

private:
    ssize_t result(ssize_t count);
    void block();
    void breakOff();

    Transport& m_transport;
    Owner& m_owner;
    OutputBuffer m_buffer;
    bool m_isBlocked = false;
    bool m_isBroken = false;
    bool m_isPending = false;
};
