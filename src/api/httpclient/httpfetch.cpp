// SPDX-License-Identifier: MIT
#include "httpclient/httpfetch.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"

#include <QPointer>

namespace {

// The size of the read buffer.
constexpr gsize readSize = 65536;

// The coding of an uncompressed body.
const char identity[] = "identity";

using GBytesPtr = std::unique_ptr<GBytes, GFree<g_bytes_unref>>;

// The user data of an asynchronous GLib call, which may outlive the fetch. The callback deletes it.
using Receiver = QPointer<HttpFetch>;

} // namespace

HttpFetch::HttpFetch(SoupSession* session, const HttpClientOptions& options,
                     HttpClient::Callback callback, QObject* parent)
    : QObject(parent), m_session(GObjectPtr<SoupSession>::share(session)), m_options(options),
      m_callback(std::move(callback)),
      m_cancellable(GObjectPtr<GCancellable>::adopt(g_cancellable_new())) {
    m_timeout.setSingleShot(true);
    plixConnect(&m_timeout, &QTimer::timeout, this,
                [this] { fail(QStringLiteral("the time is over")); });
}

HttpFetch::~HttpFetch() {
    abort();
}

void HttpFetch::start(const PlixUrl& url, SoupHTTPVersion version) {
    m_timeout.start(m_options.timeoutMs());
    const QString scheme = url.scheme();
    if (scheme == QLatin1String("http") || scheme == QLatin1String("https"))
        m_message =
            GObjectPtr<SoupMessage>::adopt(soup_message_new("GET", url.toEncoded().constData()));
    if (!m_message) {
        QMetaObject::invokeMethod(
            this, [this] { fail(QStringLiteral("not a URL that can be fetched")); },
            Qt::QueuedConnection);
        return;
    }
    soup_message_headers_replace(m_message.get()->request_headers, "Accept-Encoding", identity);
    soup_message_set_http_version(m_message.get(), version);
    soup_message_set_flags(m_message.get(), SOUP_MESSAGE_NO_REDIRECT);
    soup_session_send_async(m_session.get(), m_message.get(), m_cancellable.get(), on_soup_sent,
                            new Receiver(this));
}

void HttpFetch::on_soup_sent(GObject* session, GAsyncResult* result, void* self) {
    const std::unique_ptr<Receiver> receiver(static_cast<Receiver*>(self));
    GErrorPtr error;
    const auto body = GObjectPtr<GInputStream>::adopt(
        soup_session_send_finish(SOUP_SESSION(session), result, error.out()));
    if (*receiver)
        (*receiver)->on_sent(body.get(), error);
}

void HttpFetch::on_sent(GInputStream* body, const GErrorPtr& error) {
    if (error)
        return fail(QString::fromUtf8(error.message()));
    m_body = GObjectPtr<GInputStream>::share(body);
    takeHeaders();
    if (isEncoded())
        return fail(QStringLiteral("the body is compressed"));
    const qint64 length =
        soup_message_headers_get_content_length(m_message.get()->response_headers);
    if (length > m_options.readSizeLimit())
        return fail(QStringLiteral("the body is too long"));
    readMore();
}

void HttpFetch::readMore() {
    g_input_stream_read_bytes_async(m_body.get(), readSize, G_PRIORITY_DEFAULT, m_cancellable.get(),
                                    on_gio_read, new Receiver(this));
}

void HttpFetch::on_gio_read(GObject* stream, GAsyncResult* result, void* self) {
    const std::unique_ptr<Receiver> receiver(static_cast<Receiver*>(self));
    GErrorPtr error;
    const GBytesPtr bytes(
        g_input_stream_read_bytes_finish(G_INPUT_STREAM(stream), result, error.out()));
    if (*receiver)
        (*receiver)->on_read(bytes.get(), error);
}

void HttpFetch::on_read(GBytes* bytes, const GErrorPtr& error) {
    if (error)
        return fail(QString::fromUtf8(error.message()));
    gsize size = 0;
    const auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
    if (size == 0) {
        if (!hasWholeBody())
            return fail(QStringLiteral("the end of the body is missing"));
        m_complete = true;
        return finish();
    }
    if (size > static_cast<gsize>(m_options.readSizeLimit() - m_result.m_body.size()))
        return fail(QStringLiteral("the body is too long"));
    m_result.m_body.append(data, static_cast<int>(size));
    readMore();
}

void HttpFetch::takeHeaders() {
    m_result.m_statusCode = static_cast<int>(m_message.get()->status_code);
    SoupMessageHeadersIter iterator;
    soup_message_headers_iter_init(&iterator, m_message.get()->response_headers);
    const char* name = nullptr;
    const char* value = nullptr;
    while (soup_message_headers_iter_next(&iterator, &name, &value))
        m_result.m_headers.add(QString::fromUtf8(name), QString::fromUtf8(value));
}

// The request has asked for an uncompressed body. Decompressed, this one could have any size;
// compressed, it does not have its content type.
bool HttpFetch::isEncoded() const {
    const QString encoding = m_result.m_headers.value(QStringLiteral("Content-Encoding"));
    return !encoding.isEmpty() && encoding.compare(QLatin1String(identity), Qt::CaseInsensitive);
}

// libsoup treats a connection that is closed between two chunks as a complete body. After the last
// chunk, a read of its stream returns 0 at once. Before it, the stream reads from the connection,
// and that fails for a cancelled call.
bool HttpFetch::hasWholeBody() {
    if (soup_message_headers_get_encoding(m_message.get()->response_headers) !=
            SOUP_ENCODING_CHUNKED ||
        !G_IS_FILTER_INPUT_STREAM(m_body.get()))
        return true;
    g_cancellable_cancel(m_cancellable.get());
    GInputStream* chunks =
        g_filter_input_stream_get_base_stream(G_FILTER_INPUT_STREAM(m_body.get()));
    char byte = 0;
    return g_input_stream_read(chunks, &byte, 1, m_cancellable.get(), nullptr) == 0;
}

void HttpFetch::fail(const QString& error) {
    dbglog_debug("Fetch failed: " << error);
    m_result = HttpClient::Result();
    m_result.m_error = error;
    finish();
}

// Cancels the request. This closes the connection, unless the response has been read completely.
void HttpFetch::abort() {
    g_cancellable_cancel(m_cancellable.get());
    if (m_message && !m_complete)
        soup_session_cancel_message(m_session.get(), m_message.get(), SOUP_STATUS_CANCELLED);
    m_message = {};
    m_body = {};
}

void HttpFetch::finish() {
    m_timeout.stop();
    abort();
    deleteLater();
    // The callback is called once, even if the cancellation causes another result. It may delete
    // the context, and this object with it.
    const HttpClient::Result result = m_result;
    if (const auto callback = std::exchange(m_callback, nullptr))
        callback(result);
}
