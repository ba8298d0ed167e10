#include "handlers/reverseproxyhandler.h"

#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "core/plixconnect.h"
#include "message.h"

ReverseProxyHandler::ReverseProxyHandler(const QString& documentRoot, QObject* parent)
    : Handler(documentRoot, parent), m_client(new HttpClient(this, HttpClient::Http11, true)) {}

void ReverseProxyHandler::handle(Message* message) {
    dbglog_scopedFunction;
    dbglog_debug("ReverseProxyHandler: request: '" << message->fullUri() << "'");
    const QString original = extractOriginalUrl(message->fullUri());
    if (original.isEmpty()) {
        dbglog_warning("Couldn't extract URL");
        message->setStatus(404, QString());
        message->setResponseBody(QStringLiteral("The original requested url could not be found."),
                                 MimeTypes::Text::plain());
        return;
    }
    serveOriginalUrl(original, message);
}

QString ReverseProxyHandler::extractOriginalUrl(const QString& url) {
    dbglog_scopedFunction;
    const QString marker = QStringLiteral("proxy/");
    const int position = url.indexOf(marker);
    if (position < 0)
        return {};
    return QString::fromUtf8(QByteArray::fromBase64(url.mid(position + marker.size()).toUtf8()));
}

void ReverseProxyHandler::serveOriginalUrl(const QString& originalUrl, Message* message) {
    dbglog_scopedFunction;
    HttpClientOptions options;
    options.setReadSizeLimit(readSizeLimit);
    options.setTimeoutMs(timeoutMs);
    message->pause();
    // Ends the fetch with the exchange.
    auto* fetch = new QObject(this);
    plixConnect(message, &Message::finished, fetch, [fetch] { delete fetch; });
    m_client->get(PlixUrl(originalUrl), options, fetch,
                  [this, fetch, message](const HttpClient::Result& result) {
                      delete fetch;
                      httpCallback(result, message);
                  });
}

void ReverseProxyHandler::httpCallback(const HttpClient::Result& result, Message* message) {
    dbglog_scopedFunction;
    if (result.statusCode() == 200) {
        message->setStatus(200, QString());
        // What comes from elsewhere must not act as a page of the device.
        message->setHeader(QByteArrayLiteral("Content-Security-Policy"),
                           QByteArrayLiteral("sandbox"));
        message->setHeader(QByteArrayLiteral("X-Content-Type-Options"),
                           QByteArrayLiteral("nosniff"));
        message->setResponseBody(result.body(),
                                 result.headers().value(QStringLiteral("Content-Type")));
        return;
    }
    dbglog_warning("Couldn't fetch original content from source"
                   << " " << result.error());
    message->setStatus(404, QString());
    message->setResponseBody(QStringLiteral("Could not fetch original content from source"),
                             MimeTypes::Text::plain());
}
