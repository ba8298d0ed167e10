#pragma once

#include "connection/connectionbudget.h"
#include "connection/endpoints.h"
#include "connection/exchange.h"
#include "connection/refusal.h"
#include "connection/requestframing.h"
#include "connection/sender.h"
#include "connection/socketpoller.h"
#include "connection/transport.h"

#include <memory>
#include <string>

class Connections;

// One client's connection, from its acceptance to its end: what it sends is vetted and lent to
// libsoup request by request, what libsoup writes is collected and sent.
//
// It is a reader and a writer over a transport, and a state: in its handshake, awaiting a request's
// head, with an exchange at libsoup, sending what is left, or waiting for the client to close as
// well. libsoup never sees the socket, and never a byte that RequestFraming has not vetted.
//
// Owned by Connections. After close() it does nothing more, and is deleted in a later turn of the
// main loop, so that callers further up need not ask whether it still lives.
class Connection : public ConnectionBudget::Member,
                   private SocketPoller::Handler,
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
    // Whether the client has had its time, or has gone; see ConnectionLimits.
    bool isOverdue(qint64 now) const;
    // Whether it may have gone while its answer is awaited.
    bool hasHungUp() const { return m_hasHungUp; }
    // Its place among the owner's connections.
    size_t index = 0;

    // For its exchange.
    const RequestFraming& framing() const { return m_framing; }
    const ConnectionLimits& limits() const;
    unsigned turn() const;
    Sender& sender() { return m_sender; }
    // The exchange waits for the rest of its body.
    void wantInput();
    void on_body_read(size_t bytes);
    // Has libsoup's next failure to read answered with this.
    void refuseExchange(const Refusal& refusal) { m_refusal = refusal; }
    void on_exchange_ended();
    // Counts what is in memory now. `false`: it is too much, and the exchange is going to end.
    bool hasRoomInMemory();

    Endpoints& endpoints() { return m_endpoints; }

private:
    enum class Phase { Handshake, Request, Exchange, Draining, Lingering, Closed };
    enum class Ending { Closing, Lingering, Aborted, Reset };

    void on_socket_ready(std::uint32_t events) override;
    void on_sender_pending() override;
    void on_sender_blocked() override;
    void on_sender_broken() override;
    void on_half_closed();
    void on_room();
    void receive();
    void discard();
    void consume(std::string_view bytes);
    bool takeHead(std::string_view* bytes);
    bool takeBody(std::string_view* bytes);
    void failBody();
    void beginExchange(std::string vetted, size_t headSize);
    void dropExchange();
    void on_end_of_stream();
    void refuse(const Refusal& refusal);
    void end(Ending ending);
    void on_drained();
    void awaitRequest();
    void awaitClient();
    bool wantsInput() const;
    void setInterest(std::uint32_t events);
    bool hasLeft(qint64 now) const;

    Connections& m_owner;
    std::unique_ptr<Transport> m_transport;
    RequestFraming m_framing;
    Sender m_sender;
    Endpoints m_endpoints;
    // What has come behind the present request.
    std::string m_input;
    std::unique_ptr<Exchange> m_exchange;
    Refusal m_refusal;
    Phase m_phase;
    Ending m_ending = Ending::Closing;
    std::uint32_t m_interest = 0;
    bool m_isFirstRequest = true;
    bool m_isConsuming = false;
    bool m_isDropping = false;
    bool m_hasHungUp = false;
    bool m_isAtEnd = false;
    qint64 m_held = 0;
    // Since when it waits for the client, or for the answer to one that has hung up.
    qint64 m_since = 0;
    // What was read of the body since then.
    size_t m_progress = 0;
};
