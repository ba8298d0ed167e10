// SPDX-License-Identifier: MIT
#pragma once

#include "core/plixurl.h"
#include "httpclient/httpclientheaders.h"
#include "httpclient/httpclientoptions.h"
#include "plixexport.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

// Fetches "http" and "https" URLs; other schemes fail.
//
// A fetch is one request to the source itself: redirects are not followed, and proxies, cookies and
// caches are not used. The request asks for an uncompressed body; the fetch fails if the body is
// compressed or incomplete. The size is checked while the body is read. Fetches run concurrently on
// the event loop.
//
// The destructor cancels all fetches; their callbacks are not called.
class PLIX_EXPORT HttpClient : public QObject {
    Q_OBJECT

public:
    enum HttpVersion { Http11 = 0, Http10 = 1 };

    // The result of a fetch.
    class Result {
    public:
        // The status of the source; 0 when the fetch failed, even if a status had arrived.
        int statusCode() const { return m_statusCode; }
        const HttpClientHeaders& headers() const { return m_headers; }
        const QByteArray& body() const { return m_body; }
        // The reason of a failure, for the log; empty on success.
        QString error() const { return m_error; }

    private:
        friend class HttpFetch;
        int m_statusCode = 0;
        HttpClientHeaders m_headers;
        QByteArray m_body;
        QString m_error;
    };
    using Callback = std::function<void(const Result&)>;

    // `verifyCertificates`: a fetch fails if the system does not trust the certificate, or if it is
    // that of another host.
    HttpClient(QObject* parent, HttpVersion version, bool verifyCertificates);
    ~HttpClient() override;

    // Calls back once, in a later turn of the event loop. The deletion of the context cancels the
    // fetch, without a call.
    void get(const PlixUrl& url, const HttpClientOptions& options, Callback callback);
    void get(const PlixUrl& url, const HttpClientOptions& options, QObject* context,
             Callback callback);

private:
    struct Session;

    std::unique_ptr<Session> m_session;
};
