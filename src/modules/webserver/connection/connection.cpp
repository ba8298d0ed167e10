// SPDX-License-Identifier: MIT
#include "connection/connection.h"

#include "connection/connections.h"
#include "core/dbglog.h"

#include <sys/epoll.h>

namespace {

using End = ConnectionEnd::Kind;

// Of a body, in memory, beyond what libsoup has read.
constexpr size_t maxBodyAhead = 65536;
// How long a client may take to notice that its connection has been closed.
constexpr int lingerMs = 5000;
constexpr qint64 tlsBytes = qint64(24) * 1024; // of the state of a connection

} // namespace

Connection::Connection(Connections& owner, std::unique_ptr<Transport> transport,
                       const sockaddr_storage& remote)
    : m_owner(owner), m_transport(std::move(transport)),
      m_registration(owner.poller(), m_transport->descriptor(), EPOLLIN | EPOLLRDHUP, *this),
      m_reader(*m_transport, *this), m_sender(*m_transport, *this),
      m_endpoints(m_transport->descriptor(), remote),
      m_phase(m_transport->isSecure() ? Phase::Handshake : Phase::Request) {}

Connection::~Connection() {
    close();
}

void Connection::close() {
    if (m_phase == Phase::Closed)
        return;
    // Between requests the end is no loss, and says so.
    if (m_phase == Phase::Request)
        m_transport->endOutput();
    m_phase = Phase::Closed;
    dropExchange();
    m_registration.stop();
    m_transport.reset();
    m_owner.on_connection_closed(*this);
}

void Connection::giveUp(const char* reason) {
    m_owner.reportGivenUp(reason, m_endpoints);
    close();
}

bool Connection::wantsInput() const {
    switch (m_phase) {
    case Phase::Request:
        return !m_reader.hasInput();
    case Phase::Exchange:
        return isAwaitingBody();
    default:
        return m_phase != Phase::Ending;
    }
}

void Connection::awaitClient() {
    m_patience.restart();
    m_owner.budget().setAwaitingClient(*this);
}

void Connection::wantInput() {
    if (wantsInput() && !m_reader.isAtEnd())
        m_registration.add(EPOLLIN);
    if (m_reader.hasMore())
        m_owner.resumeLater(*this);
    if (m_exchange && !m_owner.budget().isAwaitingClient(*this))
        awaitClient();
}

void Connection::awaitRequest() {
    m_phase = Phase::Request;
    m_reader.next();
    m_isFirstRequest = false;
    awaitClient();
    if (m_reader.isBusy())
        return;
    wantInput();
    if (m_reader.isAtEnd())
        m_owner.resumeLater(*this);
}

void Connection::on_socket_ready(std::uint32_t events) {
    if (m_phase == Phase::Handshake)
        return m_owner.queueHandshake(*this);
    // A reset, which leaves no doubt, or the end of a connection that was closed here before.
    if (events & (EPOLLERR | EPOLLHUP))
        return close();
    if (events & EPOLLRDHUP)
        on_half_closed();
    if (events & EPOLLOUT && !isClosed())
        on_room();
    if (!(events & EPOLLIN) || isClosed())
        return;
    if (m_phase == Phase::Lingering)
        goOnEnding(ConnectionEnd::discard(*m_transport));
    else if (wantsInput())
        receive();
    else
        m_registration.remove(EPOLLIN);
}

// Behind bytes that nobody has read it may be too.
void Connection::on_half_closed() {
    m_registration.remove(EPOLLRDHUP);
    if (std::exchange(m_hasHungUp, true) || !m_exchange)
        return;
    if (framing().phase() == RequestFraming::Phase::Complete)
        m_patience.restart();
    m_owner.sweepSoon();
    m_exchange->on_hangUp();
}

void Connection::continueHandshake() {
    if (m_phase != Phase::Handshake)
        return;
    if (m_held == 0)
        m_owner.on_handshake_begun(*this);
    switch (m_transport->handshake()) {
    case Transport::Handshake::NeedsInput:
        m_registration.set(EPOLLIN | EPOLLRDHUP);
        hasRoomInMemory();
        return;
    case Transport::Handshake::NeedsRoom:
        m_registration.set(EPOLLOUT | EPOLLRDHUP);
        return;
    case Transport::Handshake::Failed:
        dbglog_debug("The handshake with " << m_endpoints.remoteText() << " failed");
        return close();
    case Transport::Handshake::Done:
        m_registration.set(EPOLLIN | EPOLLRDHUP);
        m_phase = Phase::Request;
        m_owner.on_handshake_done(*this);
        hasRoomInMemory();
        // The first request may have come with the end of the handshake.
        if (!isClosed() && m_transport->hasBuffered())
            receive();
    }
}

bool Connection::isAwaitingBody() const {
    return m_phase == Phase::Exchange && framing().phase() == RequestFraming::Phase::Body &&
           m_exchange->inputSize() < maxBodyAhead;
}

void Connection::receive() {
    if (!m_reader.receive())
        return close();
    if (isClosed())
        return;
    if (m_phase == Phase::Request && m_reader.hasInput())
        m_owner.resumeLater(*this);
    hasRoomInMemory();
}

void Connection::resume() {
    if (m_sender.isBroken())
        return close();
    if (m_phase != Phase::Request && m_phase != Phase::Exchange)
        return;
    if (m_refusal && !framing().refusal())
        return refuse(m_refusal);
    m_reader.resume();
    if (!isClosed() && wantsInput() && !m_reader.isAtEnd()) {
        m_registration.add(EPOLLIN);
        if (m_reader.hasMore())
            return receive();
    }
    if (m_phase == Phase::Request && m_reader.hasInput())
        m_owner.resumeLater(*this);
    hasRoomInMemory();
}

void Connection::on_reader_end() {
    m_registration.remove(EPOLLIN | EPOLLRDHUP);
    if (m_phase == Phase::Request)
        end(End::Closing);
}

void Connection::on_reader_body() {
    if (framing().phase() == RequestFraming::Phase::Complete)
        m_owner.budget().setWorking(*this);
    m_exchange->wakeReader();
}

void Connection::on_reader_refused() {
    if (m_reader.isAtEnd())
        m_registration.remove(EPOLLIN | EPOLLRDHUP);
    if (!m_exchange)
        return refuse(framing().refusal());
    // libsoup's next attempt to read ends the exchange, once it has read what came before.
    m_refusal = framing().refusal();
    m_exchange->wakeReader();
}

void Connection::on_reader_request(std::string vetted, size_t headSize) {
    m_phase = Phase::Exchange;
    m_patience.restart();
    m_owner.budget().setWorking(*this);
    if (m_hasHungUp)
        m_owner.sweepSoon();
    m_exchange = std::make_unique<Exchange>(*this, std::move(vetted), headSize);
    m_owner.lend(*this, *m_exchange);
}

// libsoup ends it in this call.
void Connection::dropExchange() {
    if (!m_exchange)
        return;
    m_isDropping = true;
    // The only way to end one exchange of a libsoup server.
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    soup_socket_disconnect(soup_client_context_get_socket(m_exchange->client()));
    G_GNUC_END_IGNORE_DEPRECATIONS
    m_exchange.reset();
    m_isDropping = false;
}

void Connection::on_exchange_ended() {
    const std::unique_ptr<Exchange> exchange = std::move(m_exchange);
    m_owner.reportEnd(*exchange, m_refusal, m_endpoints);
    if (m_phase != Phase::Exchange || m_isDropping)
        return;
    m_phase = Phase::Ending;
    if (m_sender.isBroken())
        return; // Its next turn closes it.
    const ResponseFraming& response = exchange->response();
    if (m_refusal && !response.hasHead())
        return refuse(m_refusal);
    // Where the client cannot tell from what it got that something is missing, a reset says so.
    if (!exchange->isWhole())
        return end(response.body() == ResponseFraming::Body::UntilClose ? End::Reset
                                                                        : End::Aborted);
    if (response.body() == ResponseFraming::Body::Chunked)
        m_sender.buffer().append(ResponseFraming::lastChunk);
    if (framing().phase() != RequestFraming::Phase::Complete)
        return end(End::Lingering);
    if (response.closes())
        return end(m_reader.hasInput() ? End::Lingering : End::Closing);
    m_sender.flushLater();
    hasRoomInMemory();
    awaitRequest();
}

void Connection::refuse(const Refusal& refusal) {
    m_owner.reportRefusal(refusal, m_endpoints);
    const bool hasAnswer = m_exchange && m_exchange->response().hasHead();
    const std::string answer = answerTo(refusal);
    dropExchange();
    if (isClosed())
        return;
    if (hasAnswer)
        return end(End::Aborted);
    m_sender.buffer().append(answer);
    end(End::Lingering);
}

void Connection::on_sender_pending() {
    m_owner.flushAtTurnEnd(*this);
}

void Connection::on_sender_blocked() {
    m_registration.add(EPOLLOUT);
    awaitClient();
    // It counts what it has in memory there; others may have to go for that.
    m_owner.resumeLater(*this);
}

// Not now: libsoup may be on the stack, or the main loop about to wait.
void Connection::on_sender_broken() {
    m_owner.resumeLater(*this);
}

void Connection::on_room() {
    m_registration.remove(EPOLLOUT);
    if (!m_sender.on_room())
        return;
    hasRoomInMemory();
    if (m_phase == Phase::Ending)
        return goOnEnding(m_end.advance(m_sender, *m_transport));
    if (!m_exchange)
        return;
    m_owner.budget().setWorking(*this);
    m_exchange->wakeWriter();
}

void Connection::end(End kind) {
    m_phase = Phase::Ending;
    m_end = ConnectionEnd(kind);
    goOnEnding(m_end.advance(m_sender, *m_transport));
}

void Connection::goOnEnding(ConnectionEnd::Step step) {
    if (step == ConnectionEnd::Step::Over)
        return close();
    if (step == ConnectionEnd::Step::Sending || m_phase == Phase::Lingering)
        return;
    m_phase = Phase::Lingering;
    awaitClient();
    m_registration.set(EPOLLIN);
}

bool Connection::isOverdue(qint64 now) const {
    const ConnectionLimits& limits = m_owner.budget().limits();
    const qint64 waiting = m_patience.waited(now);
    switch (m_phase) {
    case Phase::Handshake:
        return waiting > limits.handshakeMs;
    case Phase::Request:
        if (m_transport->isSecure() && m_isFirstRequest)
            return waiting > limits.handshakeMs;
        return waiting > (framing().isIdle() && !m_isFirstRequest ? limits.idleMs : limits.headMs);
    case Phase::Exchange:
        if (framing().phase() == RequestFraming::Phase::Body)
            return m_exchange->isWaitingForInput() && waiting > limits.bodyMs;
        return (m_hasHungUp && !m_sender.isBlocked() &&
                m_patience.hasLeft(now, m_transport->descriptor())) ||
               (m_exchange->idleSince() > 0 && !m_sender.isBlocked() &&
                now - m_exchange->idleSince() > limits.answerMs);
    case Phase::Lingering:
        return waiting > lingerMs;
    default:
        return false;
    }
}

bool Connection::hasRoomInMemory() {
    if (isClosed())
        return true;
    auto held = qint64(m_reader.heldBytes()) + qint64(m_sender.buffer().size());
    if (m_transport->isSecure())
        held += tlsBytes;
    if (m_exchange)
        held += m_exchange->heldBytes();
    if (held == m_held)
        return true;
    m_held = held;
    if (m_owner.budget().setHeld(*this, held))
        return true;
    // Not now: libsoup or a handler may be on the stack.
    m_refusal = {503, "Service Unavailable", "The device has no memory left for this request."};
    m_owner.resumeLater(*this);
    return false;
}
