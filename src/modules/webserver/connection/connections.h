// SPDX-License-Identifier: MIT

// connection/: From the socket to libsoup: TLS, limits, and the framing of requests and answers.
#pragma once

#include "connection/connection.h"
#include "connection/connectionbudget.h"
#include "connection/socketpoller.h"
#include "glibptr.h"

#include <QTimer>
#include <libsoup/soup.h>

#include <deque>
#include <map>
#include <memory>
#include <sys/socket.h>
#include <vector>

class ExchangeObserver;
class TlsContext;

// All connections of one libsoup server, and the loop that serves them.
//
// Each turn of the main loop reads the sockets that are ready, and passes complete requests to
// libsoup, one of each connection at a time. Connections with buffered input follow, and then TLS
// handshakes for a few milliseconds, the latest clients first: abandoned handshakes do not delay
// others. Everything that was written during the turn is sent at its end.
//
// Owned by the server, and lives as long as the libsoup server's exchanges.
class Connections {
public:
    Connections(SoupServer* server, std::shared_ptr<ConnectionBudget> budget);
    ~Connections();
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;

    // Null for connections without TLS.
    void setTls(std::shared_ptr<TlsContext> tls) { m_tls = std::move(tls); }
    ConnectionBudget& budget() { return *m_budget; }
    SocketPoller& poller() { return m_poller; }
    // Must live as long as this object.
    void addObserver(ExchangeObserver* observer) { m_observers.push_back(observer); }
    // How many connections do what: "handshake", "idle", "head" (which has begun to come),
    // "working", "waiting" for something to happen at the device, "ending".
    std::map<std::string, int> activities() const;

    // Takes the descriptor over.
    void accept(int descriptor, const sockaddr_storage& remote);
    void closeAll();

    // For the connections.
    void lend(Connection& connection, Exchange& exchange);
    void resumeLater(Connection& connection);
    void queueHandshake(Connection& connection);
    // Called when a handshake begins to use memory, and when it has finished.
    void on_handshake_begun(Connection& connection);
    void on_handshake_done(Connection& connection);
    void flushAtTurnEnd(Connection& connection) { m_unflushed.push_back(&connection); }
    void on_connection_closed(Connection& connection);
    // Counts the turns of the main loop.
    unsigned turn() const { return m_turn; }
    // The requests that are being answered. Valid until the next one ends.
    std::vector<const SoupMessage*> messages() const;
    // For the log and the observers.
    void reportEnd(const Exchange& exchange, const Refusal& refusal, Endpoints& endpoints) const;
    void reportRefusal(const Refusal& refusal, Endpoints& endpoints) const;
    void reportGivenUp(const char* reason, Endpoints& endpoints) const;
    // Called when a client has closed its side while it waits for an answer.
    void sweepSoon();

private:
    void on_handled();
    void on_turn_end();
    void continueHandshakes();
    void sweep();
    static void on_request_started(SoupServer*, SoupMessage* message, SoupClientContext* client,
                                   Connections* self);
    static void on_request_finished(SoupServer*, SoupMessage* message, SoupClientContext*,
                                    Connections*);

    SoupServer* m_server;
    std::shared_ptr<ConnectionBudget> m_budget;
    std::shared_ptr<TlsContext> m_tls;
    SocketPoller m_poller;
    std::vector<ExchangeObserver*> m_observers;
    std::vector<std::unique_ptr<Connection>> m_connections;
    // Closed connections, deleted at the end of the turn.
    std::vector<std::unique_ptr<Connection>> m_closed;
    std::deque<Connection*> m_resumed;
    std::vector<Connection*> m_unflushed;
    std::vector<Connection*> m_readyHandshakes;
    // Handshakes in progress, the oldest first.
    std::deque<Connection*> m_handshakes;
    // The highest number of connections since the last malloc_trim().
    size_t m_most = 0;
    unsigned m_turn = 0;
    // The exchange that is being passed to libsoup.
    Exchange* m_lent = nullptr;
    GSignalConnection m_requestStarted;
    GSignalConnection m_requestFinished;
    QTimer m_sweep;
};
