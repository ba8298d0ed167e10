// SPDX-License-Identifier: MIT
#pragma once

#include "connection/connectionbudget.h"
#include "connection/connectionend.h"
#include "connection/endpoints.h"
#include "connection/exchange.h"
#include "connection/patience.h"
#include "connection/refusal.h"
#include "connection/requestreader.h"
#include "connection/sender.h"
#include "connection/socketpoller.h"
#include "connection/transport.h"

#include <memory>
#include <string>

class Connections;

// One client's connection, from its acceptance to its end. Its bytes are validated and passed to
// libsoup request by request; what libsoup writes is buffered and sent.
//
// It is a reader and a writer over a transport, and a state: in its handshake, awaiting a request's
// head, with an exchange at libsoup, sending what is left, or waiting for the client to close as
// well. libsoup never sees the socket, and never a byte that RequestFraming has not vetted.
//
// Owned by Connections. After close() it does nothing more, and is deleted in a later turn of the
// main loop, so that callers further up need not ask whether it still lives.
class Connection : public ConnectionBudget::Member,
                   private SocketPoller::Handler,
                   private RequestReader::Owner,
                   private Sender::Owner {
public:
    Connection(Connections& owner, std::unique_ptr<Transport> transport,
               const sockaddr_storage& remote);
    ~Connection() override;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool isClosed() const { return m_phase == Phase::Closed; }
    // Ends it at once, and an exchange with it.
    void close();
    void giveUp(const char* reason) override;

    // Called by the owner.
    void continueHandshake();
    void resume();
    void on_turn_end() { m_sender.on_turn_end(); }
    // Whether a time limit has passed, or the client has left; see ConnectionLimits.
    bool isOverdue(qint64 now) const;
    // Whether the client has closed its side (half-close) while it waits for the answer.
    bool hasHungUp() const { return m_hasHungUp; }
    // Its index in the owner's list of connections.
    size_t index = 0;

    // For its exchange.
    const RequestFraming& framing() const { return m_reader.framing(); }
    Connections& owner() const { return m_owner; }
    Sender& sender() { return m_sender; }
    // Called when the exchange waits for more of the request's body.
    void wantInput();
    void on_body_read(size_t bytes) {
        if (m_patience.hasProgress(bytes))
            awaitClient();
    }
    // Sets the answer for the client once libsoup's current attempt to read fails.
    void refuseExchange(const Refusal& refusal) { m_refusal = refusal; }
    void on_exchange_ended();
    // Reports the bytes in memory to the budget. `false`: they exceed it, and the exchange will
    // end.
    bool hasRoomInMemory();

    Endpoints& endpoints() { return m_endpoints; }
    // The request that is being answered; null without one.
    const SoupMessage* message() const { return m_exchange ? m_exchange->message() : nullptr; }
    // What it does, in a word.
    const char* activity() const {
        if (m_phase == Phase::Handshake)
            return "handshake";
        if (m_phase == Phase::Request)
            return framing().isIdle() ? "idle" : "head";
        return m_exchange ? "working" : "ending";
    }

private:
    enum class Phase { Handshake, Request, Exchange, Ending, Lingering, Closed };

    void on_socket_ready(std::uint32_t events) override;
    void on_sender_pending() override;
    void on_sender_blocked() override;
    void on_sender_broken() override;
    bool isAwaitingRequest() const override { return m_phase == Phase::Request; }
    bool isAwaitingBody() const override;
    void on_reader_begun() override { awaitClient(); }
    void on_reader_request(std::string vetted, size_t headSize) override;
    std::string& bodyInput() override { return m_exchange->input(); }
    void on_reader_body() override;
    void on_reader_refused() override;
    void on_reader_end() override;
    void on_half_closed();
    void on_room();
    void receive();
    void dropExchange();
    void refuse(const Refusal& refusal);
    void end(ConnectionEnd::Kind kind);
    void goOnEnding(ConnectionEnd::Step step);
    void awaitRequest();
    void awaitClient();
    bool wantsInput() const;

    Connections& m_owner;
    std::unique_ptr<Transport> m_transport;
    SocketPoller::Registration m_registration;
    RequestReader m_reader;
    Sender m_sender;
    Endpoints m_endpoints;
    std::unique_ptr<Exchange> m_exchange;
    Refusal m_refusal;
    Phase m_phase;
    ConnectionEnd m_end;
    bool m_isFirstRequest = true;
    bool m_isDropping = false;
    bool m_hasHungUp = false;
    qint64 m_held = 0;
    // How long the client has been waited for, or, after a half-close, the answer.
    Patience m_patience;
};
