// SPDX-License-Identifier: MIT
#include "message.h"

#include "core/dbglog.h"

#include <QMetaMethod>
#include <QPointer>

namespace {

// As much of a body as a log line shows.
constexpr int loggedBodyBytes = 20;

// Without a fragment and a user, which only a client that means mischief sends.
QString uriToString(SoupMessage* message) {
    SoupURI uri = *soup_message_get_uri(message);
    uri.user = uri.password = uri.fragment = nullptr;
    return QString::fromUtf8(GCharPtr(soup_uri_to_string(&uri, FALSE)).get());
}

using SoupBufferPtr = std::unique_ptr<SoupBuffer, GFree<soup_buffer_free>>;

// libsoup's own pieces of 8 KiB cost as much again as the system calls that read and write them.
constexpr gsize chunkBytes = 65536;

SoupBuffer* allocateChunk(SoupMessage*, gsize, gpointer) {
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): the buffer frees it.
    return soup_buffer_new(SOUP_MEMORY_TAKE, g_malloc(chunkBytes), chunkBytes);
}

} // namespace

Message::Message(const MessageData& data, QObject* parent)
    : QObject(parent), m_data(data), m_body(data.message), m_fullUri(uriToString(data.message)) {
    dbglog_debug("Message for '" << m_fullUri << "'");
    setHeader(QByteArrayLiteral("X-Robots-Tag"), QByteArrayLiteral("noindex"));
    follow();
}

Message::Message(const Message& other)
    : QObject(), m_data(other.m_data), m_body(other.m_body), m_valid(other.m_valid),
      m_finished(other.m_finished), m_fullUri(other.m_fullUri), m_url(other.m_url) {
    if (m_valid)
        follow();
}

Message::~Message() = default;

void Message::follow() {
    m_soupFinished =
        GSignalConnection(m_data.message, "finished", G_CALLBACK(on_soup_finished), this);
}

// Most exchanges end without anybody listening to their chunks, and a connection to a GLib signal
// costs more than one of Qt.
void Message::connectNotify(const QMetaMethod& signal) {
    if (!isOpen())
        return;
    if (!m_gotChunk && signal == QMetaMethod::fromSignal(&Message::gotChunk))
        m_gotChunk =
            GSignalConnection(m_data.message, "got_chunk", G_CALLBACK(on_soup_gotChunk), this);
    if (!m_wroteChunk && signal == QMetaMethod::fromSignal(&Message::wroteChunk))
        m_wroteChunk =
            GSignalConnection(m_data.message, "wrote-chunk", G_CALLBACK(on_soup_wroteChunk), this);
}

void Message::deleteWhenFinished() {
    dbglog_scopedFunction;
    m_deletedWhenFinished = true;
    if (!m_finished)
        return;
    dbglog_debug("Message already finished, deleting it directly");
    deleteLater();
}

void Message::forgetCallbackArguments() {
    m_data.path = nullptr;
    m_data.query = nullptr;
}

void Message::on_soup_gotChunk(SoupMessage*, SoupBuffer* chunk, Message* self) {
    Q_EMIT self->gotChunk(chunk->data, static_cast<unsigned int>(chunk->length));
}

void Message::on_soup_wroteChunk(SoupMessage*, Message* self) {
    Q_EMIT self->wroteChunk();
}

void Message::on_soup_finished(SoupMessage*, Message* self) {
    self->finish();
}

void Message::finish() {
    const QPointer<Message> self(this);
    m_finished = true;
    Q_EMIT finished();
    if (!self)
        return;
    m_gotChunk.disconnect();
    m_wroteChunk.disconnect();
    m_soupFinished.disconnect();
    // Last, so that receivers of finished() still see a valid message.
    m_valid = false;
    if (m_deletedWhenFinished)
        deleteLater();
}

QByteArray Message::method() const {
    return m_valid ? QByteArray(m_data.message->method) : QByteArray();
}

void Message::setMethod(const char* method) {
    dbglog_scopedFunction;
    if (isOpen())
        g_object_set(m_data.message, SOUP_MESSAGE_METHOD, method, nullptr);
}

QByteArray Message::header(const QString& name) const {
    if (!m_valid)
        return {};
    return soup_message_headers_get_one(m_data.message->request_headers, name.toUtf8().constData());
}

QByteArray Message::headerList(const QString& name) const {
    if (!m_valid)
        return {};
    return soup_message_headers_get_list(m_data.message->request_headers,
                                         name.toUtf8().constData());
}

void Message::removeRequestHeader(const char* name) {
    dbglog_scopedFunction;
    if (m_valid)
        soup_message_headers_remove(m_data.message->request_headers, name);
}

QByteArray Message::requestContentType() const {
    if (!m_valid)
        return {};
    return soup_message_headers_get_content_type(m_data.message->request_headers, nullptr);
}

bool Message::isMultipart() const {
    return requestContentType() == "multipart/form-data";
}

QByteArray Message::getDelimiterFromHeader() const {
    static const QByteArray parameter = QByteArrayLiteral("boundary=");
    const QByteArray type = header(QStringLiteral("Content-type"));
    if (!type.contains("multipart/form-data"))
        return {};
    const int position = type.indexOf(parameter);
    if (position < 0)
        return {};
    // The leading line break belongs to the delimiter: a body is searched for this sequence as it
    // is. The first boundary line, which has none before it, is the multipart parser's matter.
    return "\r\n--" + type.mid(position + parameter.size());
}

QByteArray Message::requestBody() const {
    if (!m_valid)
        return {};
    SoupMessageBody* body = m_data.message->request_body;
    // A body that is not kept has a length, but no bytes.
    if (!soup_message_body_get_accumulate(body))
        return {};
    if (!body->data)
        const SoupBufferPtr flattened(soup_message_body_flatten(body));
    return QByteArray::fromRawData(body->data, static_cast<int>(body->length));
}

void Message::setAccumulate(bool accumulate) {
    dbglog_scopedFunction;
    if (!m_valid)
        return;
    soup_message_body_set_accumulate(m_data.message->request_body, accumulate);
    if (accumulate)
        return;
    // Deprecated for clients, which have another interface since; servers have no other one.
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    soup_message_set_chunk_allocator(m_data.message, allocateChunk, nullptr, nullptr);
    G_GNUC_END_IGNORE_DEPRECATIONS
}

bool Message::isFromLocalhost() const {
    if (!isOpen())
        return false;
    GSocketAddress* address = soup_client_context_get_remote_address(m_data.client);
    switch (address ? g_socket_address_get_family(address) : G_SOCKET_FAMILY_INVALID) {
    case G_SOCKET_FAMILY_IPV4:
    case G_SOCKET_FAMILY_IPV6:
        return g_inet_address_get_is_loopback(
            g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(address)));
    case G_SOCKET_FAMILY_UNIX:
        return true;
    default:
        return false;
    }
}

bool Message::isHttps() const {
    return m_valid && soup_message_get_uri(m_data.message)->scheme == SOUP_URI_SCHEME_HTTPS;
}

const PlixUrl& Message::url() const {
    if (m_url.isEmpty()) {
        m_url = PlixUrl::fromEncoded(m_fullUri.toUtf8());
        const QByteArray query = m_url.encodedQuery();
        if (query.contains('+'))
            m_url.setEncodedQuery(QByteArray(query).replace('+', "%20"));
    }
    return m_url;
}

QString Message::remoteAddress() const {
    return isOpen() ? QString::fromUtf8(soup_client_context_get_host(m_data.client)) : QString();
}

int Message::remotePort() const {
    GSocketAddress* address =
        isOpen() ? soup_client_context_get_remote_address(m_data.client) : nullptr;
    if (!G_IS_INET_SOCKET_ADDRESS(address))
        return 0;
    return g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(address));
}

void Message::setStatus(int code, const QString& reason) {
    dbglog_scopedFunction;
    if (!isOpen())
        return;
    if (reason.isNull()) {
        dbglog_debug(m_fullUri << ": setting status " << code);
        soup_message_set_status(m_data.message, static_cast<guint>(code));
    } else {
        dbglog_debug(m_fullUri << ": setting status with reason msg " << code << " " << reason);
        soup_message_set_status_full(m_data.message, static_cast<guint>(code),
                                     reason.toUtf8().constData());
    }
}

int Message::status() const {
    return m_valid ? static_cast<int>(m_data.message->status_code) : 0;
}

bool Message::setHeader(const QByteArray& name, const QByteArray& value) {
    dbglog_scopedFunction;
    // A line break would end the header, and begin another.
    if (value.contains('\r') || value.contains('\n'))
        return false;
    if (isOpen())
        soup_message_headers_replace(m_data.message->response_headers, name.constData(),
                                     value.constData());
    return true;
}

bool Message::setHeader(const QString& name, const QString& value) {
    dbglog_scopedFunction;
    return setHeader(name.toUtf8(), value.toUtf8());
}

bool Message::setContentType(const QString& type) {
    return setHeader(QByteArrayLiteral("Content-Type"), type.toUtf8());
}

bool Message::setContentLength(qint64 length) {
    dbglog_scopedFunction;
    if (isOpen())
        m_body.setLength(length);
    return true;
}

bool Message::setNoCache() {
    dbglog_scopedFunction;
    const bool cacheControl = setHeader(QByteArrayLiteral("Cache-Control"),
                                        QByteArrayLiteral("no-cache, no-store, must-revalidate"));
    const bool pragma = setHeader(QByteArrayLiteral("Pragma"), QByteArrayLiteral("no-cache"));
    const bool expires = setHeader(QByteArrayLiteral("Expires"), QByteArrayLiteral("0"));
    return cacheControl && pragma && expires;
}

void Message::setEncoding(Encoding encoding) {
    dbglog_scopedFunction;
    if (!isOpen())
        return;
    if (encoding == Chunked)
        m_body.setChunked();
    else
        m_body.setSized();
}

void Message::setContentRange(qint64 start, qint64 end, qint64 total) {
    dbglog_scopedFunction;
    if (isOpen())
        soup_message_headers_set_content_range(m_data.message->response_headers, start, end, total);
}

void Message::responseBodyAdd(const char* data, qint64 length) {
    dbglog_scopedFunction;
    if (isOpen() && m_body.addCopy(data, length))
        unpause();
}

void Message::responseBodyAdd(const QByteArray& data) {
    dbglog_scopedFunction;
    if (!isOpen())
        return;
    dbglog_debug(m_fullUri << ": data.size: " << data.size() << " " << data.left(loggedBodyBytes)
                           << (data.size() > loggedBodyBytes ? "..." : ""));
    if (m_body.add(data))
        unpause();
}

void Message::responseBodyAdd(const std::shared_ptr<const MappedFile>& file, qint64 start,
                              qint64 length) {
    dbglog_scopedFunction;
    if (!isOpen())
        return;
    m_body.add(file, start, length);
    unpause();
}

void Message::setResponseBody(const QByteArray& body, const QString& contentType) {
    dbglog_scopedFunction;
    if (!contentType.isNull())
        setContentType(contentType);
    responseBodyAdd(body);
}

void Message::setResponseBody(const QString& body, const QString& contentType) {
    dbglog_scopedFunction;
    setResponseBody(body.toUtf8(), contentType);
}

void Message::responseBodyComplete() {
    dbglog_scopedFunction;
    if (!isOpen())
        return;
    m_body.complete();
    unpause();
}

qint64 Message::responseBodyLength() const {
    return m_valid ? m_body.length() : 0;
}

void Message::pause() {
    dbglog_scopedFunction;
    if (isOpen())
        soup_server_pause_message(m_data.server, m_data.message);
}

void Message::unpause() {
    dbglog_scopedFunction;
    if (isOpen())
        soup_server_unpause_message(m_data.server, m_data.message);
}
