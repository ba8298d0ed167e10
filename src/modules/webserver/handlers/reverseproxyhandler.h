// SPDX-License-Identifier: MIT
#pragma once

#include "handlers/handler.h"
#include "httpclient/httpclient.h"

#include <QHash>

// Fetches a resource from another HTTP server and relays its body and content type. The URL is
// everything after "proxy/" in the request's URL, in Base64. Every failure of the fetch is answered
// with 404; a client with too many fetches at a time gets 503.
//
// Every client of the device can fetch any "http" or "https" URL that the device can reach. Size,
// time and method (GET) are limited, the target is not.
class ReverseProxyHandler : public Handler {
    Q_OBJECT

public:
    // Far more than the pictures that the user interface shows from other servers.
    static constexpr int readSizeLimit = 5 * 1024 * 1024;
    static constexpr int timeoutMs = 30000;
    // Fetches of one client at a time: half of the HTTP client's connections, so that a client
    // whose sources do not answer does not block others. A browser opens no more than a dozen.
    static constexpr int fetchesPerClient = 32;

    ReverseProxyHandler(const QString& documentRoot, QObject* parent);

    void handle(Message* message) override;

    // Empty when the URL contains no other URL.
    static QString extractOriginalUrl(const QString& url);
    void serveOriginalUrl(const QString& originalUrl, Message* message);
    void httpCallback(const HttpClient::Result& result, Message* message);

private:
    static void refuse(Message* message);

    HttpClient* m_client;
    // By the clients' addresses.
    QHash<QString, int> m_fetches;
};
