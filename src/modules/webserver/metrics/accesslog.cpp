// SPDX-License-Identifier: MIT
#include "metrics/accesslog.h"

#include "glibptr.h"

#include <QByteArray>
#include <QLocale>
#include <log4cplus/loggingmacros.h>

namespace {

// In quotation marks, so that a client cannot write lines or fields of its own.
QByteArray quoted(const char* text) {
    QByteArray result(1, '"');
    for (const char* c = text && *text ? text : "-"; *c; ++c) {
        if (*c == '"' || *c == '\\')
            result += '\\';
        if (g_ascii_iscntrl(*c))
            result += "\\x" + QByteArray(1, *c).toHex();
        else
            result += *c;
    }
    return result + '"';
}

const char* requestHeader(const SoupMessage* message, const char* name) {
    return soup_message_headers_get_one(message->request_headers, name);
}

} // namespace

QByteArray AccessLog::line(const EndedExchange& exchange, const QDateTime& when) {
    const SoupMessage* message = exchange.message;
    SoupURI* uri = soup_message_get_uri(const_cast<SoupMessage*>(message));
    const GCharPtr target(uri ? soup_uri_to_string(uri, TRUE) : nullptr);
    const bool isHttp11 =
        soup_message_get_http_version(const_cast<SoupMessage*>(message)) == SOUP_HTTP_1_1;
    const QByteArray request = QByteArray(message->method) + ' ' + QByteArray(target.get()) +
                               (isHttp11 ? " HTTP/1.1" : " HTTP/1.0");
    const QString time =
        QLocale::c().toString(when.toUTC(), QStringLiteral("dd/MMM/yyyy:HH:mm:ss"));
    return QByteArray::fromStdString(exchange.remote) + " - - [" + time.toLatin1() + " +0000] " +
           quoted(request.constData()) + ' ' + QByteArray::number(exchange.status) + ' ' +
           QByteArray::number(qint64(exchange.sentBytes)) + ' ' +
           quoted(requestHeader(message, "Referer")) + ' ' +
           quoted(requestHeader(message, "User-Agent"));
}

void AccessLog::on_exchange_ended(const EndedExchange& exchange) {
    static const log4cplus::Logger logger = log4cplus::Logger::getInstance("Access");
    LOG4CPLUS_INFO(logger, line(exchange, QDateTime::currentDateTimeUtc()).constData());
}
