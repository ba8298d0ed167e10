#pragma once

#include "core/plixurl.h"
#include "httpclient/httpclientheaders.h"
#include "httpclient/httpclientoptions.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

// Fetches what "http" and "https" URLs name, and nothing else; other schemes fail.
//
// A fetch is one request to that very source: no redirects are followed, no proxies and no cookies
// are used, nothing is cached, and the body is asked for as it is: one that comes compressed all
// the same, or whose end is missing, is a failed fetch. Its size is limited while it is read.
// Fetches run side by side on the event loop.
//
// The client's end ends its fetches without calling back.
class HttpClient : public QObject {
    Q_OBJECT

public:
    enum HttpVersion { Http11 = 0, Http10 = 1 };

    // What came of a fetch.
    class Result {
    public:
        // The source's; 0 when the fetch failed, for whatever reason, even after the status had
        // arrived.
        int statusCode() const { return m_statusCode; }
        const HttpClientHeaders& headers() const { return m_headers; }
        const QByteArray& body() const { return m_body; }
        // Why the fetch failed, for the log; empty when it did not.
        QString error() const { return m_error; }

    private:
        friend class HttpFetch;
        int m_statusCode = 0;
        HttpClientHeaders m_headers;
        QByteArray m_body;
        QString m_error;
    };
    using Callback = std::function<void(const Result&)>;

    // `verifyCertificates`: an HTTPS source whose certificate the system does not trust, or that is
    // another host's, is a failed fetch.
    HttpClient(QObject* parent, HttpVersion version, bool verifyCertificates);
    ~HttpClient() override;

    // Calls back once, on a later turn of the event loop. The fetch ends without calling back when
    // the context is deleted.
    void get(const PlixUrl& url, const HttpClientOptions& options, Callback callback);
    void get(const PlixUrl& url, const HttpClientOptions& options, QObject* context,
             Callback callback);

private:
    struct Session;

    std::unique_ptr<Session> m_session;
};
