// SPDX-License-Identifier: MIT
#include "connection/connections.h"

#include "connection/exchangeobserver.h"
#include "connection/tlscontext.h"
#include "core/dbglog.h"

#include <algorithm>
#include <malloc.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <utility>

namespace {

// How often connections are looked at, and how often while a client may have gone.
constexpr int sweepMs = 1000;
constexpr int hungUpSweepMs = 200;
// Of one turn. A handshake takes about one of these on a fast machine.
constexpr gint64 handshakeTurnUs = 2000;
// After a crowd of so many has left, the allocator is asked once to give memory back.
constexpr size_t crowd = 100;

template <typename List, typename T>
void eraseFrom(List& list, T* item) {
    list.erase(std::remove(list.begin(), list.end(), item), list.end());
}

} // namespace

Connections::Connections(SoupServer* server, std::shared_ptr<ConnectionBudget> budget)
    : m_server(server), m_budget(std::move(budget)),
      m_poller([this] { on_handled(); }, [this] { on_turn_end(); }),
      m_requestStarted(server, "request-started", G_CALLBACK(on_request_started), this),
      m_requestFinished(server, "request-finished", G_CALLBACK(on_request_finished), this) {
    QObject::connect(&m_sweep, &QTimer::timeout, &m_sweep, [this] { sweep(); });
}

Connections::~Connections() {
    closeAll();
}

void Connections::accept(int descriptor, const sockaddr_storage& remote) {
    const AddressKey address = addressKey(reinterpret_cast<const sockaddr*>(&remote));
    // What is written in one turn goes out together anyway.
    const int yes = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    auto transport =
        m_tls ? m_tls->newTransport(descriptor) : std::make_unique<Transport>(descriptor);
    // The transport closes the descriptor.
    if (!m_budget->makeRoom(address))
        return;
    m_connections.push_back(std::make_unique<Connection>(*this, std::move(transport), remote));
    Connection& connection = *m_connections.back();
    connection.index = m_connections.size() - 1;
    m_budget->join(connection, address);
    m_most = std::max(m_most, m_connections.size());
    if (!m_sweep.isActive())
        m_sweep.start(sweepMs);
}

void Connections::closeAll() {
    while (!m_connections.empty())
        m_connections.back()->close();
}

void Connections::on_connection_closed(Connection& connection) {
    m_budget->leave(connection);
    eraseFrom(m_resumed, &connection);
    eraseFrom(m_unflushed, &connection);
    eraseFrom(m_readyHandshakes, &connection);
    eraseFrom(m_handshakes, &connection);
    std::swap(m_connections[connection.index], m_connections.back());
    m_connections[connection.index]->index = connection.index;
    m_closed.push_back(std::move(m_connections.back()));
    m_connections.pop_back();
}

void Connections::lend(Connection& connection, Exchange& exchange) {
    const auto stream = GObjectPtr<GIOStream>::share(exchange.stream());
    m_lent = &exchange;
    GErrorPtr error;
    if (!soup_server_accept_iostream(m_server, stream.get(), connection.endpoints().local(),
                                     connection.endpoints().remote(), error.out()))
        dbglog_error("Passing on a request failed: " << error.message());
    m_lent = nullptr;
}

void Connections::on_request_started(SoupServer*, SoupMessage* message, SoupClientContext* client,
                                     Connections* self) {
    if (Exchange* exchange = std::exchange(self->m_lent, nullptr))
        exchange->begin(message, client);
}

void Connections::on_request_finished(SoupServer*, SoupMessage* message, SoupClientContext*,
                                      Connections*) {
    if (Exchange* exchange = Exchange::of(message))
        exchange->setWritten();
}

std::map<std::string, int> Connections::activities() const {
    std::map<std::string, int> counts;
    for (const auto& connection : m_connections)
        ++counts[m_budget->isAwaitingDevice(*connection) ? "waiting" : connection->activity()];
    return counts;
}

std::vector<const SoupMessage*> Connections::messages() const {
    std::vector<const SoupMessage*> messages;
    for (const auto& connection : m_connections) {
        const SoupMessage* message = connection->message();
        // Before the head has been read it has none.
        if (message && soup_message_get_uri(const_cast<SoupMessage*>(message)))
            messages.push_back(message);
    }
    return messages;
}

void Connections::reportEnd(const Exchange& exchange, const Refusal& refusal,
                            Endpoints& endpoints) const {
    if (m_observers.empty() || !exchange.message())
        return;
    int status = refusal ? refusal.status : EndedExchange::clientLeft;
    if (exchange.response().hasHead())
        status = static_cast<int>(exchange.message()->status_code);
    const EndedExchange ended{exchange.message(),
                              status,
                              exchange.bodyRead(),
                              exchange.response().bytes(),
                              g_get_monotonic_time() - exchange.begunAt(),
                              endpoints.remoteText()};
    for (ExchangeObserver* observer : m_observers)
        observer->on_exchange_ended(ended);
}

void Connections::reportRefusal(const Refusal& refusal, Endpoints& endpoints) const {
    dbglog_warning("Refused a request from " << endpoints.remoteText() << ": " << refusal.reason);
    for (ExchangeObserver* observer : m_observers)
        observer->on_refused(refusal, endpoints.remoteText());
}

void Connections::reportGivenUp(const char* reason, Endpoints& endpoints) const {
    dbglog_info("Giving up the connection of " << endpoints.remoteText() << ": " << reason);
    for (ExchangeObserver* observer : m_observers)
        observer->on_given_up(reason);
}

void Connections::resumeLater(Connection& connection) {
    if (std::find(m_resumed.begin(), m_resumed.end(), &connection) != m_resumed.end())
        return;
    m_resumed.push_back(&connection);
    m_poller.wakeUp();
}

void Connections::queueHandshake(Connection& connection) {
    eraseFrom(m_readyHandshakes, &connection);
    m_readyHandshakes.push_back(&connection);
}

void Connections::on_handled() {
    // Those that are queued meanwhile have their turn later.
    for (size_t left = m_resumed.size(); left > 0 && !m_resumed.empty(); --left) {
        Connection* connection = m_resumed.front();
        m_resumed.pop_front();
        connection->resume();
    }
    continueHandshakes();
}

void Connections::on_handshake_begun(Connection& connection) {
    m_handshakes.push_back(&connection);
    if (m_handshakes.size() > static_cast<size_t>(m_budget->limits().handshakes))
        m_handshakes.front()->giveUp("there are too many handshakes");
}

void Connections::on_handshake_done(Connection& connection) {
    eraseFrom(m_handshakes, &connection);
}

void Connections::continueHandshakes() {
    const gint64 end = g_get_monotonic_time() + handshakeTurnUs;
    while (!m_readyHandshakes.empty() && g_get_monotonic_time() < end) {
        Connection* connection = m_readyHandshakes.back();
        m_readyHandshakes.pop_back();
        connection->continueHandshake();
    }
    if (!m_readyHandshakes.empty())
        m_poller.wakeUp();
}

void Connections::on_turn_end() {
    ++m_turn;
    for (Connection* connection : m_unflushed)
        connection->on_turn_end();
    m_unflushed.clear();
    m_closed.clear();
}

void Connections::sweepSoon() {
    if (m_sweep.interval() != hungUpSweepMs)
        m_sweep.start(hungUpSweepMs);
}

void Connections::sweep() {
    const qint64 now = g_get_monotonic_time() / 1000;
    std::vector<Connection*> overdue;
    bool someHungUp = false;
    for (const auto& connection : m_connections) {
        someHungUp = someHungUp || connection->hasHungUp();
        if (connection->isOverdue(now))
            overdue.push_back(connection.get());
    }
    for (Connection* connection : overdue)
        connection->close();
    // What a crowd took is in pieces all over the heap, which the allocator keeps unless it is
    // asked.
    if (m_most >= crowd && m_connections.size() <= m_most / 4) {
        malloc_trim(0);
        m_most = m_connections.size();
    }
    if (m_connections.empty())
        m_sweep.stop();
    else
        m_sweep.setInterval(someHungUp ? hungUpSweepMs : sweepMs);
}
