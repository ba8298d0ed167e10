// SPDX-License-Identifier: MIT
#include "metrics/metricshandler.h"

#include "core/mimetypes.h"
#include "message.h"

#include <QHostAddress>

#include <algorithm>

MetricsHandler::MetricsHandler(Collect collect, QStringList clients, QObject* parent)
    : Handler(QString(), parent), m_collect(std::move(collect)), m_clients(std::move(clients)) {}

// IPv4 clients of a socket for both families have mapped addresses.
bool MetricsHandler::isAccepted(const Message* message) const {
    const QHostAddress address(message->remoteAddress());
    return message->isFromLocalhost() ||
           std::any_of(m_clients.cbegin(), m_clients.cend(), [&](const QString& client) {
               return address.isEqual(QHostAddress(client), QHostAddress::TolerantConversion);
           });
}

void MetricsHandler::handle(Message* message) {
    if (message->url().path() != QLatin1String(path)) {
        Handler::handle(message);
    } else if (message->method() != "GET") {
        message->setStatus(501, QString());
    } else if (!isAccepted(message)) {
        message->setStatus(403, QString());
        message->setResponseBody(
            QStringLiteral("Metrics are for clients of the device itself, and for those of its "
                           "setting.\n"),
            MimeTypes::Text::plain());
    } else {
        message->setStatus(200, QString());
        message->setNoCache();
        message->setResponseBody(
            openMetricsText(m_collect()),
            QStringLiteral("application/openmetrics-text; version=1.0.0; charset=utf-8"));
    }
}
