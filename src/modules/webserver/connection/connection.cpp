#include "connection/connection.h"

#include "connection/connections.h"
#include "core/dbglog.h"

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>

namespace {

constexpr size_t readBytes = 65536;
// Of a body, in memory, beyond what libsoup has read.
constexpr size_t maxBodyAhead = 65536;
// A client that sends many requests at once leaves the turn to others after so many.
constexpr int requestsPerTurn = 16;
// Less of a body within the time allowed is a client that wants to hold the connection.
constexpr size_t minProgress = 1024;
// How long an answer may take to begin, or to go on, for a client that sends no more.
constexpr int graceMs = 1000;
// How long a client may take to notice that its connection has been closed.
constexpr int lingerMs = 5000;
// An answer that was given to libsoup is written at once, unless the client has no room.
constexpr int answerMs = 10000;
// What the state of a TLS connection takes.
constexpr qint64 tlsBytes = 24 * 1024;

qint64 nowMs() {
    return g_get_monotonic_time() / 1000;
}

// Whether bytes are on their way to the client, or were a moment ago.
bool isBeingSent(int descriptor) {
    int queued = 0;
    if (ioctl(descriptor, SIOCOUTQ, &queued) == 0 && queued > 0)
        return true;
    tcp_info info{};
    socklen_t length = sizeof info;
    return getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &length) == 0 &&
           info.tcpi_last_data_sent < graceMs;
}

} // namespace

Connection::Connection(Connections& owner, std::unique_ptr<Transport> transport,
                       const sockaddr_storage& remote)
    : m_owner(owner), m_transport(std::move(transport)), m_framing(m_transport->isSecure()),
      m_sender(*m_transport, *this), m_endpoints(m_transport->descriptor(), remote),
      m_phase(m_transport->isSecure() ? Phase::Handshake : Phase::Request), m_interest(EPOLLIN | EPOLLRDHUP),
      m_since(nowMs()) {
    m_owner.poller().add(m_transport->descriptor(), m_interest, this);
}

Connection::~Connection() {
    close();
}

const ConnectionLimits& Connection::limits() const {
    return m_owner.budget().limits();
}

unsigned Connection::turn() const {
    return m_owner.turn();
}

void Connection::close() {
    if (m_phase == Phase::Closed)
        return;
    m_phase = Phase::Closed;
    dropExchange();
    m_owner.poller().remove(m_transport->descriptor(), this);
    m_transport.reset();
    m_owner.on_connection_closed(*this);
}

void Connection::giveUp(const char* reason) {
    dbglog_info("Giving up the connection of " << m_endpoints.remoteText() << ": " << reason);
    close();
}

// What it waits for.

void Connection::setInterest(std::uint32_t events) {
    if (m_interest == events)
        return;
    m_interest = events;
    m_owner.poller().change(m_transport->descriptor(), events, this);
}

bool Connection::wantsInput() const {
    switch (m_phase) {
    case Phase::Request:
        return m_input.empty();
    case Phase::Exchange:
        return m_framing.phase() == RequestFraming::Phase::Body &&
               m_exchange->inputSize() < maxBodyAhead;
    default:
        return m_phase != Phase::Draining;
    }
}

void Connection::awaitClient() {
    m_since = nowMs();
    m_progress = 0;
    m_owner.budget().setWaiting(*this);
}

void Connection::wantInput() {
    if (wantsInput() && !m_isAtEnd)
        setInterest(m_interest | EPOLLIN);
    if (m_transport->hasBuffered())
        m_owner.resumeLater(*this);
    if (m_exchange && !ConnectionBudget::isWaiting(*this))
        awaitClient();
}

void Connection::on_body_read(size_t bytes) {
    m_progress += bytes;
    if (m_progress >= minProgress)
        awaitClient();
}

void Connection::awaitRequest() {
    m_phase = Phase::Request;
    m_framing.next();
    m_isFirstRequest = false;
    awaitClient();
    if (m_isConsuming)
        return;
    if (m_input.empty() && !m_isAtEnd)
        wantInput();
    else
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
        discard();
    else if (wantsInput())
        receive();
    else
        setInterest(m_interest & ~std::uint32_t(EPOLLIN));
}

// Behind bytes that nobody has read it may be too.
void Connection::on_half_closed() {
    setInterest(m_interest & ~std::uint32_t(EPOLLRDHUP));
    if (std::exchange(m_hasHungUp, true) || !m_exchange)
        return;
    if (m_framing.phase() == RequestFraming::Phase::Complete)
        m_since = nowMs();
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
        setInterest(EPOLLIN | EPOLLRDHUP);
        hasRoomInMemory();
        return;
    case Transport::Handshake::NeedsRoom:
        setInterest(EPOLLOUT | EPOLLRDHUP);
        return;
    case Transport::Handshake::Failed:
        dbglog_debug("The handshake with " << m_endpoints.remoteText() << " failed");
        return close();
    case Transport::Handshake::Done:
        setInterest(EPOLLIN | EPOLLRDHUP);
        m_phase = Phase::Request;
        m_owner.on_handshake_done(*this);
        hasRoomInMemory();
        // The first request may have come with the end of the handshake.
        if (!isClosed() && m_transport->hasBuffered())
            receive();
    }
}

// Input.

void Connection::receive() {
    char buffer[readBytes];
    do {
        const ssize_t count = m_transport->read(buffer, sizeof buffer);
        if (count == Transport::wouldBlock)
            return;
        if (count == 0 || (count < 0 && m_transport->isSecure()))
            return on_end_of_stream();
        if (count < 0)
            return close();
        consume({buffer, static_cast<size_t>(count)});
    } while (!isClosed() && wantsInput() && m_transport->hasBuffered());
}

void Connection::discard() {
    char buffer[readBytes];
    const ssize_t count = recv(m_transport->descriptor(), buffer, sizeof buffer, MSG_DONTWAIT);
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR))
        close();
}

void Connection::on_end_of_stream() {
    m_isAtEnd = true;
    setInterest(m_interest & ~std::uint32_t(EPOLLIN | EPOLLRDHUP));
    m_framing.takeEnd();
    if (m_exchange)
        return failBody();
    if (m_framing.refusal())
        refuse(m_framing.refusal());
    else
        end(Ending::Closing);
}

void Connection::resume() {
    if (m_sender.isBroken())
        return close();
    if (m_phase != Phase::Request && m_phase != Phase::Exchange)
        return;
    if (m_refusal && m_framing.phase() != RequestFraming::Phase::Refused)
        return refuse(m_refusal);
    if (!m_input.empty())
        consume({});
    if (isClosed() || !m_input.empty() || !wantsInput())
        return;
    if (m_isAtEnd)
        return on_end_of_stream();
    setInterest(m_interest | EPOLLIN);
    if (m_transport->hasBuffered())
        receive();
}

void Connection::consume(std::string_view bytes) {
    std::string earlier;
    if (!m_input.empty()) {
        earlier.swap(m_input);
        bytes = earlier.append(bytes);
    }
    m_isConsuming = true;
    int requests = 0;
    while (!bytes.empty() && requests < requestsPerTurn) {
        if (m_phase == Phase::Request && takeHead(&bytes))
            ++requests;
        else if (m_phase != Phase::Exchange || !takeBody(&bytes))
            break;
    }
    m_isConsuming = false;
    if (isClosed())
        return;
    if (m_phase == Phase::Request || m_phase == Phase::Exchange) {
        m_input = bytes;
        if (m_phase == Phase::Request && !bytes.empty())
            m_owner.resumeLater(*this);
    }
    hasRoomInMemory();
}

// Whether a request has begun.
bool Connection::takeHead(std::string_view* bytes) {
    const bool wasIdle = m_framing.isIdle();
    std::string vetted;
    bytes->remove_prefix(m_framing.take(*bytes, vetted));
    const size_t headSize = vetted.size();
    if (m_framing.phase() == RequestFraming::Phase::Body)
        bytes->remove_prefix(m_framing.take(*bytes, vetted));
    if (m_framing.refusal()) {
        refuse(m_framing.refusal());
        return false;
    }
    if (m_framing.phase() == RequestFraming::Phase::Head) {
        if (wasIdle && !m_framing.isIdle())
            awaitClient();
        return false;
    }
    beginExchange(std::move(vetted), headSize);
    return true;
}

// Whether something of the body was taken.
bool Connection::takeBody(std::string_view* bytes) {
    if (m_framing.phase() != RequestFraming::Phase::Body)
        return false;
    const size_t count = m_framing.take(*bytes, m_exchange->input());
    bytes->remove_prefix(count);
    if (m_framing.refusal()) {
        failBody();
        return false;
    }
    if (m_framing.phase() == RequestFraming::Phase::Complete)
        m_owner.budget().setWorking(*this);
    m_exchange->wakeReader();
    return true;
}

// libsoup's next attempt to read ends the exchange, once it has read what came before.
void Connection::failBody() {
    if (!m_framing.refusal())
        return;
    m_refusal = m_framing.refusal();
    m_exchange->wakeReader();
}

// The exchange.

void Connection::beginExchange(std::string vetted, size_t headSize) {
    m_phase = Phase::Exchange;
    m_since = nowMs();
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
    if (m_phase != Phase::Exchange || m_isDropping || m_sender.isBroken())
        return;
    const ResponseFraming& response = exchange->response();
    if (m_refusal && !response.hasHead())
        return refuse(m_refusal);
    // Where the client cannot tell from what it got that something is missing, a reset says so.
    if (!exchange->isWhole())
        return end(response.body() == ResponseFraming::Body::UntilClose ? Ending::Reset
                                                                        : Ending::Aborted);
    if (response.body() == ResponseFraming::Body::Chunked)
        m_sender.buffer().append(ResponseFraming::lastChunk);
    if (m_framing.phase() != RequestFraming::Phase::Complete)
        return end(Ending::Lingering);
    if (response.closes())
        return end(m_input.empty() ? Ending::Closing : Ending::Lingering);
    m_sender.flushLater();
    hasRoomInMemory();
    awaitRequest();
}

void Connection::refuse(const Refusal& refusal) {
    dbglog_warning("Refused a request from " << m_endpoints.remoteText() << ": " << refusal.reason);
    const bool hasAnswer = m_exchange && m_exchange->response().hasHead();
    const std::string answer = answerTo(refusal);
    dropExchange();
    if (isClosed())
        return;
    if (hasAnswer)
        return end(Ending::Aborted);
    m_sender.buffer().append(answer);
    end(Ending::Lingering);
}

// Output.

void Connection::on_sender_pending() {
    m_owner.flushAtTurnEnd(*this);
}

void Connection::on_sender_blocked() {
    setInterest(m_interest | EPOLLOUT);
    awaitClient();
    hasRoomInMemory();
}

// Not now: libsoup may be on the stack, or the main loop about to wait.
void Connection::on_sender_broken() {
    m_owner.resumeLater(*this);
}

void Connection::on_room() {
    setInterest(m_interest & ~std::uint32_t(EPOLLOUT));
    if (!m_sender.on_room())
        return;
    hasRoomInMemory();
    if (m_phase == Phase::Draining)
        return on_drained();
    if (!m_exchange)
        return;
    m_owner.budget().setWorking(*this);
    m_exchange->wakeWriter();
}

// The end.

void Connection::end(Ending ending) {
    m_phase = Phase::Draining;
    m_ending = ending;
    if (m_sender.flush())
        on_drained();
    else if (m_sender.isBroken())
        close();
}

void Connection::on_drained() {
    // Without close_notify.
    if (m_ending == Ending::Aborted)
        return close();
    if (m_ending == Ending::Reset) {
        const linger now{1, 0};
        setsockopt(m_transport->descriptor(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
        return close();
    }
    if (!m_sender.endOutput())
        return;
    if (m_ending == Ending::Closing)
        return close();
    // Closing a socket that holds unread bytes resets the connection, and the reset can overtake
    // the answer.
    m_phase = Phase::Lingering;
    awaitClient();
    setInterest(EPOLLIN);
}

// Time and memory.

bool Connection::isOverdue(qint64 now) const {
    const qint64 waiting = now - m_since;
    switch (m_phase) {
    case Phase::Handshake:
        return waiting > limits().handshakeMs;
    case Phase::Request:
        if (m_transport->isSecure() && m_isFirstRequest)
            return waiting > limits().handshakeMs;
        return waiting >
               (m_framing.isIdle() && !m_isFirstRequest ? limits().idleMs : limits().headMs);
    case Phase::Exchange:
        if (m_framing.phase() == RequestFraming::Phase::Body)
            return m_exchange->isWaitingForInput() && waiting > limits().bodyMs;
        return hasLeft(now) || (m_exchange->answeredAt() > 0 && !m_sender.isBlocked() &&
                                now - m_exchange->answeredAt() > answerMs);
    case Phase::Lingering:
        return waiting > lingerMs;
    default:
        return false;
    }
}

// A client that has closed its connection looks like one that has only finished sending. It is
// taken for gone when it has been sent nothing for a while and nothing is on its way to it: short
// work is answered, a long wait is not for somebody who might be there.
bool Connection::hasLeft(qint64 now) const {
    return m_hasHungUp && now - m_since > graceMs && !m_sender.isBlocked() &&
           !isBeingSent(m_transport->descriptor());
}

bool Connection::hasRoomInMemory() {
    if (isClosed())
        return true;
    qint64 held = static_cast<qint64>(m_framing.headBytes() + m_input.size() + m_sender.buffer().size());
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
