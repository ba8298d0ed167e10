#pragma once

#include "handlers/handler.h"
#include "httpclient/httpclient.h"

#include <QHash>

// Fetches what another HTTP source offers and relays its body and content type. The URL of the
// source is everything behind "proxy/" in the request's URL, in Base64. Whatever goes wrong with
// the source is 404 for the client; one that fetches too much at a time gets 503.
//
// This lets everybody who reaches the device fetch, from the device's place in the network, what
// "http" and "https" URLs name; what limits it is the size, the time and the method, GET.
class ReverseProxyHandler : public Handler {
    Q_OBJECT

public:
    // What the user interface shows of other sources, pictures above all, is far smaller.
    static constexpr int readSizeLimit = 5 * 1024 * 1024;
    static constexpr int timeoutMs = 30000;
    // Fetches of one client at a time, half of what the HTTP client has connections for: sources
    // that do not answer must not hold up other clients. A browser opens no more than a dozen.
    static constexpr int fetchesPerClient = 32;

    ReverseProxyHandler(const QString& documentRoot, QObject* parent);

    void handle(Message* message) override;

    // Empty when there is no URL of a source in it.
    static QString extractOriginalUrl(const QString& url);
    void serveOriginalUrl(const QString& originalUrl, Message* message);
    void httpCallback(const HttpClient::Result& result, Message* message);

private:
    static void refuse(Message* message);

    HttpClient* m_client;
    // By the clients' addresses.
    QHash<QString, int> m_fetches;
};
