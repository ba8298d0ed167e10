#pragma once

#include "connection/connectionbudget.h"
#include "connection/exchange.h"
#include "connection/outputbuffer.h"
#include "connection/refusal.h"
#include "connection/requestframing.h"
#include "connection/socketpoller.h"
#include "connection/transport.h"

#include <memory>
#include <string>
#include <sys/socket.h>

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
class Connection : public SocketPoller::Handler, public ConnectionBudget::Member {
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
    void flushAtTurnEnd();
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
    OutputBuffer& output() { return m_output; }
    bool isSecure() const { return m_transport->isSecure(); }
    bool isBroken() const { return m_isBroken; }
    // Whether it waits for the client to make room.
    bool isBlocked() const { return m_isBlocked; }
    // Sends what was written. `false` when something is left: it is broken or blocked then.
    bool flush();
    // The same at the end of the main loop's turn.
    void flushLater();
    ssize_t sendBehindOutput(std::string_view bytes);
    ssize_t sendFile(int file, off_t offset, size_t length);
    // The exchange waits for the rest of its body.
    void wantInput();
    void on_body_read(size_t bytes);
    // Has libsoup's next failure to read answered with this.
    void refuseExchange(const Refusal& refusal) { m_refusal = refusal; }
    void on_exchange_ended();
    // Counts what is in memory now. `false`: it is too much, and the exchange is going to end.
    bool hasRoomInMemory();

    GSocketAddress* localAddress();
    GSocketAddress* remoteAddress();
    std::string remoteText();

private:
    enum class Phase { Handshake, Request, Exchange, Draining, Lingering, Closed };
    enum class Ending { Closing, Lingering, Aborted, Reset };

    void on_socket_ready(std::uint32_t events) override;
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
    void setBlocked();
    ssize_t sent(ssize_t count);
    void setBroken();
    bool hasLeft(qint64 now) const;

    Connections& m_owner;
    std::unique_ptr<Transport> m_transport;
    RequestFraming m_framing;
    OutputBuffer m_output;
    // What has come behind the present request.
    std::string m_input;
    std::unique_ptr<Exchange> m_exchange;
    Refusal m_refusal;
    Phase m_phase;
    Ending m_ending = Ending::Closing;
    std::uint32_t m_interest = 0;
    bool m_isFirstRequest = true;
    bool m_isConsuming = false;
    bool m_isBlocked = false;
    bool m_isBroken = false;
    bool m_isFlushQueued = false;
    bool m_hasHungUp = false;
    bool m_isAtEnd = false;
    qint64 m_held = 0;
    // Since when it waits for the client, or for the answer to one that has hung up.
    qint64 m_since = 0;
    // What was read of the body since then.
    size_t m_progress = 0;
    sockaddr_storage m_remote;
    GObjectPtr<GSocketAddress> m_localAddress;
    GObjectPtr<GSocketAddress> m_remoteAddress;
};
