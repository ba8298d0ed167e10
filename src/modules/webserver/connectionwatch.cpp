#include "connectionwatch.h"

#include "bodypiece.h"
#include "core/dbglog.h"
#include "hangupwatch.h"
#include "lingeringclose.h"
#include "tlsfarewell.h"
#include "tunnelguard.h"
#include "unfinishedhandshake.h"

#include <algorithm>
#include <cstring>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

constexpr int microsecondsPerMs = 1000;
// How often connections are looked at, and how often while a client may have gone.
constexpr int sweepMs = 1000;
constexpr int closeSweepMs = 200;
// How long an answer may take to begin, or to go on, for a client that sends no more.
constexpr int graceMs = 1000;
// Less of a body within the time allowed is a client that wants to hold the connection.
constexpr qint64 minProgressBytes = 1024;
// libsoup begins with the next request of a connection while it still ends the one before. A client
// that sends many at once would have them fill the stack, at some 300 bytes each.
constexpr int maxUnbroken = 50;
// What libsoup keeps at least for a piece of a body, however short.
constexpr qint64 keptBytesPerPiece = 256;

qint64 nowMs() {
    return g_get_monotonic_time() / microsecondsPerMs;
}

SoupSocket* socketOf(SoupClientContext* client) {
    // The only way to end one connection of a libsoup server.
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    return soup_client_context_get_socket(client);
    G_GNUC_END_IGNORE_DEPRECATIONS
}

bool polls(GSocket* socket, short events) {
    pollfd entry{g_socket_get_fd(socket), events, 0};
    return poll(&entry, 1, 0) > 0 && (entry.revents & events) != 0;
}

// Whether bytes are on their way to the client, or were a moment ago.
bool isBeingSent(GSocket* socket) {
    const int fd = g_socket_get_fd(socket);
    int queued = 0;
    if (ioctl(fd, SIOCOUTQ, &queued) == 0 && queued > 0)
        return true;
    tcp_info info{};
    socklen_t length = sizeof info;
    return getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &length) == 0 &&
           info.tcpi_last_data_sent < graceMs;
}

using SoupDatePtr = std::unique_ptr<SoupDate, GFree<soup_date_free>>;
using SoupUriPtr = std::unique_ptr<SoupURI, GFree<soup_uri_free>>;

// Whether a request's URI is for the host that its Host header names. They can differ only when the
// request line held an absolute URI, which libsoup accepts with any scheme.
bool isForHost(const SoupURI* uri, const char* host) {
    if (uri->scheme != SOUP_URI_SCHEME_HTTP && uri->scheme != SOUP_URI_SCHEME_HTTPS)
        return false;
    const size_t length = strlen(uri->host);
    if (strncasecmp(host, uri->host, length) == 0 && host[length] == '\0' &&
        soup_uri_uses_default_port(const_cast<SoupURI*>(uri)))
        return true;
    // libsoup's own reading of the header, for ports and for the ways to write an address.
    const GCharPtr text(g_strdup_printf("%s://%s/", uri->scheme, host));
    const SoupUriPtr expected(soup_uri_new(text.get()));
    return expected && expected->host && g_ascii_strcasecmp(expected->host, uri->host) == 0 &&
           expected->port == uri->port;
}

QByteArray answerTo(const Refusal& refusal) {
    const QByteArray body = QByteArray(refusal.reason) + '\n';
    return "HTTP/1.1 " + QByteArray::number(refusal.status) + ' ' + refusal.phrase +
           "\r\nConnection: close\r\nX-Robots-Tag: noindex\r\nContent-Type: text/plain\r\n"
           "Content-Length: " +
           QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

GQuark watchQuark() {
    static const GQuark quark = g_quark_from_static_string("plix-connection-watch");
    return quark;
}

} // namespace

ConnectionWatch::ConnectionWatch(SoupServer* server, bool https)
    : m_server(server), m_https(https),
      m_requestStarted(server, "request-started", G_CALLBACK(on_requestStarted), this),
      m_events([this](void* client) { noticeEnd(static_cast<SoupClientContext*>(client)); }) {
    g_object_set_qdata(G_OBJECT(server), watchQuark(), this);
    guardAgainstTunnels();
    // Signals have numbers once their class is in use, which the guard has seen to.
    m_gotHeadersSignal = g_signal_lookup("got-headers", SOUP_TYPE_MESSAGE);
    connect(&m_sweep, &QTimer::timeout, this, &ConnectionWatch::sweep);
    if (https)
        letTlsFarewellsNotWait();
}

ConnectionWatch::~ConnectionWatch() = default;

ConnectionWatch* ConnectionWatch::of(SoupServer* server) {
    return static_cast<ConnectionWatch*>(g_object_get_qdata(G_OBJECT(server), watchQuark()));
}

void ConnectionWatch::setPatience(int ms) {
    m_patienceMs = ms;
}

ConnectionWatch::Connection* ConnectionWatch::find(SoupClientContext* client) {
    const auto found = m_connections.find(client);
    return found == m_connections.end() ? nullptr : &found->second;
}

ConnectionWatch::Connection& ConnectionWatch::open(SoupClientContext* client) {
    Connection& connection = m_connections[client];
    connection.watch = this;
    connection.client = client;
    connection.socket = GObjectPtr<GSocket>::share(soup_client_context_get_gsocket(client));
    connection.disconnected = GSignalConnection(socketOf(client), "disconnected",
                                                G_CALLBACK(on_disconnected), &connection);
    m_events.add(connection.socket.get(), client);
    if (!m_sweep.isActive())
        m_sweep.start(sweepInterval(false));
    return connection;
}

void ConnectionWatch::on_requestStarted(SoupServer*, SoupMessage* message,
                                        SoupClientContext* client, ConnectionWatch* self) {
    self->startRequest(message, client);
}

void ConnectionWatch::startRequest(SoupMessage* message, SoupClientContext* client) {
    // libsoup cuts the ranges that a client asks for out of an answer that it has in memory, and
    // does so without looking at their bounds.
    soup_message_body_set_accumulate(message->response_body, FALSE);
    // Answers that libsoup makes by itself have it as well.
    soup_message_headers_append(message->response_headers, "X-Robots-Tag", "noindex");

    Connection* known = find(client);
    Connection& connection = known ? *known : open(client);
    connection.gotHeaders =
        GSignalConnection(message, m_gotHeadersSignal, G_CALLBACK(on_gotHeaders), &connection);
    connection.gotChunk.disconnect();
    connection.gotBody.disconnect();
    // Last: what is disconnected above belongs to the message before.
    connection.message = GObjectPtr<SoupMessage>::share(message);
    connection.phase = Phase::Head;
    connection.since = nowMs();
    connection.held = false;
    connection.refusal = {};
}

// Before libsoup closes a connection, so that nothing waits for its client.
void ConnectionWatch::shutDown(const Connection& connection) {
    g_socket_shutdown(connection.socket.get(), TRUE, TRUE, nullptr);
}

void ConnectionWatch::checkHeaders(Connection* connection) {
    SoupMessage* message = connection->message.get();
    RequestGate gate;
    SoupMessageHeadersIter headers;
    soup_message_headers_iter_init(&headers, message->request_headers);
    const char* name = nullptr;
    const char* value = nullptr;
    while (soup_message_headers_iter_next(&headers, &name, &value))
        gate.addHeader(name, value);

    connection->refusal = gate.refusal();
    if (!connection->refusal && gate.host() &&
        !isForHost(soup_message_get_uri(message), gate.host()))
        connection->refusal = RequestGate::hostDisagrees();
    connection->phase = gate.hasBody() ? Phase::Body : Phase::Answer;
    connection->since = nowMs();
    connection->progress = 0;
    connection->kept = 0;
    connection->isFirst = false;
    connection->isChunked = gate.isChunked();
    if (!gate.hasBody() && soup_message_headers_get_expectations(message->request_headers) == 0)
        return;
    connection->gotChunk =
        GSignalConnection(message, "got-chunk", G_CALLBACK(on_gotChunk), connection);
    connection->gotBody =
        GSignalConnection(message, "got-body", G_CALLBACK(on_gotBody), connection);
}

bool ConnectionWatch::admit(SoupClientContext* client) {
    Connection* connection = find(client);
    if (!connection)
        return false;
    if (connection->phase == Phase::Head)
        checkHeaders(connection);
    if (!connection->refusal)
        return true;
    refuse(connection, connection->refusal);
    return false;
}

// An early handler of the request has been called before, and admit() with it.
void ConnectionWatch::on_gotHeaders(SoupMessage*, Connection* connection) {
    ConnectionWatch* self = connection->watch;
    SoupClientContext* client = connection->client;
    if (!self->admit(client))
        return;
    self->checkLength(connection);
    if (Connection* still = self->find(client))
        self->breakRecursion(still);
}

// An exchange that was paused goes on from the event loop.
void ConnectionWatch::breakRecursion(Connection* connection) {
    if (++connection->unbroken < maxUnbroken || connection->held)
        return;
    connection->unbroken = 0;
    soup_server_pause_message(m_server, connection->message.get());
    soup_server_unpause_message(m_server, connection->message.get());
}

// After the early handlers, which may have taken the body over.
void ConnectionWatch::checkLength(Connection* connection) {
    SoupMessage* message = connection->message.get();
    if (soup_message_body_get_accumulate(message->request_body) &&
        soup_message_headers_get_content_length(message->request_headers) >
            RequestGate::maxBodyBytes)
        refuse(connection, RequestGate::bodyTooLarge());
}

void ConnectionWatch::on_gotChunk(SoupMessage*, SoupBuffer* chunk, Connection* connection) {
    connection->watch->countChunk(connection, static_cast<qint64>(chunk->length));
}

void ConnectionWatch::countChunk(Connection* connection, qint64 length) {
    connection->progress += length;
    if (connection->progress >= minProgressBytes) {
        connection->progress = 0;
        connection->since = nowMs();
    }
    connection->kept += std::max(length, keptBytesPerPiece);
    SoupMessageBody* body = connection->message.get()->request_body;
    if (soup_message_body_get_accumulate(body) && connection->kept > RequestGate::maxBodyBytes)
        refuse(connection, RequestGate::bodyTooLarge());
}

void ConnectionWatch::on_gotBody(SoupMessage* message, Connection* connection) {
    SoupMessageHeaders* headers = message->response_headers;
    // libsoup reads chunk sizes leniently, so what follows the body may not be a request.
    if (connection->isChunked)
        soup_message_headers_append(headers, "Connection", "close");
    // With "100 Continue" libsoup has thrown away all that was set before.
    soup_message_headers_replace(headers, "X-Robots-Tag", "noindex");
    if (!soup_message_headers_get_one(headers, "Date")) {
        const SoupDatePtr now(soup_date_new_from_now(0));
        const GCharPtr text(soup_date_to_string(now.get(), SOUP_DATE_HTTP));
        soup_message_headers_replace(headers, "Date", text.get());
    }
    connection->phase = Phase::Answer;
    connection->since = nowMs();
}

void ConnectionWatch::refuse(Connection* connection, const Refusal& refusal) {
    dbglog_warning("Refused a request from " << soup_client_context_get_host(connection->client)
                                             << ": " << refusal.reason);
    const GObjectPtr<SoupMessage> message = connection->message;
    auto socket = connection->socket;
    // The refusal may be the connection's, and goes with it.
    const QByteArray answer = answerTo(refusal);
    auto stream = takeAway(connection);
    // An early handler may have begun with the request. libsoup says nothing more about it.
    soup_message_finished(message.get());
    m_lingering.push_back(
        std::make_unique<LingeringClose>(std::move(stream), std::move(socket), answer));
}

GObjectPtr<GIOStream> ConnectionWatch::takeAway(Connection* connection) {
    const auto node = m_connections.extract(connection->client);
    connection->disconnected.disconnect();
    m_events.remove(connection->socket.get());
    BodyPiece::stopFollowing(connection->socket.get());
    return GObjectPtr<GIOStream>::adopt(soup_client_context_steal_connection(connection->client));
}

void ConnectionWatch::setHeld(SoupClientContext* client, bool held) {
    if (Connection* connection = find(client)) {
        connection->held = held;
        connection->since = nowMs();
    }
}

void ConnectionWatch::setHangUpWatch(SoupClientContext* client, HangUpWatch* watch) {
    Connection* connection = find(client);
    if (!connection)
        return;
    connection->hangUpWatch = watch;
    if (watch && connection->endOfStream)
        QMetaObject::invokeMethod(watch, &HangUpWatch::hungUp, Qt::QueuedConnection);
}

void ConnectionWatch::on_disconnected(SoupSocket*, Connection* connection) {
    ConnectionWatch* self = connection->watch;
    // A handshake may keep it open, while its client's place is taken by another one.
    self->m_events.remove(connection->socket.get());
    self->m_connections.erase(connection->client);
}

void ConnectionWatch::noticeEnd(SoupClientContext* client) {
    Connection* connection = find(client);
    if (!connection)
        return;
    connection->endOfStream = true;
    if (connection->phase == Phase::Answer)
        connection->since = nowMs();
    // Not put off by every client that leaves.
    if (m_sweep.remainingTime() > closeSweepMs)
        m_sweep.start(sweepInterval(true));
    // Last: who hears of it may end the connection.
    if (connection->hangUpWatch)
        Q_EMIT connection->hangUpWatch->hungUp();
}

bool ConnectionWatch::isLost(const Connection& connection, qint64 now) const {
    const qint64 waiting = now - connection.since;
    GSocket* socket = connection.socket.get();
    // A reset leaves no doubt. libsoup sees it itself unless the exchange is paused.
    if (connection.endOfStream && polls(socket, POLLERR | POLLHUP))
        return connection.phase == Phase::Answer || connection.held;
    if (connection.phase != Phase::Answer)
        return !connection.held && waiting > patience(connection);
    return connection.endOfStream && waiting > graceMs && polls(socket, POLLRDHUP) &&
           !isBeingSent(socket);
}

int ConnectionWatch::patience(const Connection& connection) const {
    return m_https && connection.isFirst ? std::min(m_patienceMs, handshakePatienceMs)
                                         : m_patienceMs;
}

int ConnectionWatch::sweepInterval(bool someMayHaveGone) const {
    return someMayHaveGone ? closeSweepMs : std::min(sweepMs, m_patienceMs / 2);
}

void ConnectionWatch::sweep() {
    m_lingering.remove_if([](const auto& lingering) { return lingering->isOver(); });
    m_handshakes.remove_if([](const auto& handshake) { return handshake->isOver(); });

    const qint64 now = nowMs();
    bool someMayHaveGone = false;
    std::vector<SoupClientContext*> lost;
    for (const auto& [client, connection] : m_connections) {
        someMayHaveGone = someMayHaveGone || connection.endOfStream;
        if (isLost(connection, now))
            lost.push_back(client);
    }
    for (SoupClientContext* client : lost)
        end(client);

    if (m_connections.empty() && m_lingering.empty() && m_handshakes.empty())
        m_sweep.stop();
    else
        m_sweep.start(sweepInterval(someMayHaveGone));
}

void ConnectionWatch::end(SoupClientContext* client) {
    Connection* connection = find(client);
    if (!connection)
        return;
    dbglog_debug(
        "Ending the connection of "
        << soup_client_context_get_host(client)
        << (connection->phase == Phase::Answer ? ", which has left" : ", which sends nothing"));
    if (mayBeInHandshake(*connection))
        return endHandshake(connection);
    shutDown(*connection);
    soup_socket_disconnect(socketOf(client));
}

bool ConnectionWatch::mayBeInHandshake(const Connection& connection) const {
    return m_https && connection.phase == Phase::Head;
}

void ConnectionWatch::endHandshake(Connection* connection) {
    auto socket = connection->socket;
    auto stream = takeAway(connection);
    m_handshakes.push_back(
        std::make_unique<UnfinishedHandshake>(std::move(stream), std::move(socket)));
}

void ConnectionWatch::endAll(const std::function<void()>& disconnectAll) {
    std::vector<Connection*> inHandshake;
    for (auto& [client, connection] : m_connections) {
        if (mayBeInHandshake(connection))
            inHandshake.push_back(&connection);
        else
            shutDown(connection);
    }
    for (Connection* connection : inHandshake)
        endHandshake(connection);
    disconnectAll();
    if (!m_handshakes.empty())
        m_sweep.start(sweepMs);
    m_lingering.clear();
}
