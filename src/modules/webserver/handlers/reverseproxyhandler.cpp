// SPDX-License-Identifier: MIT
#include "handlers/reverseproxyhandler.h"

#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "core/plixconnect.h"
#include "message.h"

namespace {

// Most fetches take less.
const char retryAfterSeconds[] = "5";

} // namespace

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
    const QByteArray original = QByteArray::fromBase64(url.mid(position + marker.size()).toUtf8());
    // A function that takes a C string would fetch another URL.
    return original.contains('\0') ? QString() : QString::fromUtf8(original);
}

void ReverseProxyHandler::serveOriginalUrl(const QString& originalUrl, Message* message) {
    dbglog_scopedFunction;
    const QString client = message->remoteAddress();
    if (m_fetches.value(client) >= fetchesPerClient)
        return refuse(message);
    HttpClientOptions options;
    options.setReadSizeLimit(readSizeLimit);
    options.setTimeoutMs(timeoutMs);
    message->pause();
    // The end of the exchange deletes this object, which cancels the fetch.
    auto* fetch = new QObject(this);
    ++m_fetches[client];
    plixConnect(fetch, &QObject::destroyed, this, [this, client] {
        if (--m_fetches[client] == 0)
            m_fetches.remove(client);
    });
    plixConnect(message, &Message::finished, fetch, [fetch] { delete fetch; });
    m_client->get(PlixUrl(originalUrl), options, fetch,
                  [this, fetch, message](const HttpClient::Result& result) {
                      delete fetch;
                      httpCallback(result, message);
                  });
}

void ReverseProxyHandler::refuse(Message* message) {
    dbglog_warning("Too many fetches of " << message->remoteAddress());
    message->setStatus(503, QString());
    message->setHeader(QByteArrayLiteral("Retry-After"), retryAfterSeconds);
    message->setResponseBody(QStringLiteral("Too many requests to other sources at a time"),
                             MimeTypes::Text::plain());
}

void ReverseProxyHandler::httpCallback(const HttpClient::Result& result, Message* message) {
    dbglog_scopedFunction;
    if (result.statusCode() == 200) {
        message->setStatus(200, QString());
        // Foreign content must not run as a page of the device's origin.
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
