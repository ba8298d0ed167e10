// SPDX-License-Identifier: MIT
#include "httpclient/httpclient.h"

#include "core/plixconnect.h"
#include "core/plixlooptask.h"
#include "httpclient/httpfetch.h"

namespace {

// A source that does not answer occupies a connection until the time-out, and must not block other
// fetches. Further fetches wait for a connection; the time counts towards their time-outs. Together
// with the size limit of a fetch this limits the memory.
constexpr int maximumConnections = 64;
constexpr int maximumConnectionsPerSource = 8;

// An idle connection is reused for the next fetch from the same source. The time is short, because
// connections are limited.
constexpr int idleSeconds = 5;

} // namespace

struct HttpClient::Session {
    GObjectPtr<SoupSession> soup;
    SoupHTTPVersion version;
    bool verifyCertificates;

    // Makes the session for the first fetch, because it reads the system's authorities: they take
    // 3.5 MB, which a device that fetches nothing does not need.
    SoupSession* ready() {
        if (soup)
            return soup.get();
        const PlixLoopTask task(
            "HttpClient", [] { return QStringLiteral("reading authorities"); },
            PlixLoopTaskKind::Expected);
        soup = GObjectPtr<SoupSession>::adopt(soup_session_new_with_options(
            SOUP_SESSION_MAX_CONNS, maximumConnections, SOUP_SESSION_MAX_CONNS_PER_HOST,
            maximumConnectionsPerSource, SOUP_SESSION_IDLE_TIMEOUT, idleSeconds,
            SOUP_SESSION_SSL_STRICT, verifyCertificates, SOUP_SESSION_SSL_USE_SYSTEM_CA_FILE, TRUE,
            SOUP_SESSION_PROXY_RESOLVER, nullptr, nullptr));
        soup_session_remove_feature_by_type(soup.get(), SOUP_TYPE_CONTENT_DECODER);
        return soup.get();
    }
};

HttpClient::HttpClient(QObject* parent, HttpVersion version, bool verifyCertificates)
    : QObject(parent), m_session(std::make_unique<Session>()) {
    m_session->version = version == Http10 ? SOUP_HTTP_1_0 : SOUP_HTTP_1_1;
    m_session->verifyCertificates = verifyCertificates;
}

HttpClient::~HttpClient() {
    // Before the session is destroyed.
    qDeleteAll(findChildren<HttpFetch*>());
    if (m_session->soup)
        soup_session_abort(m_session->soup.get());
}

void HttpClient::get(const PlixUrl& url, const HttpClientOptions& options, Callback callback) {
    get(url, options, this, std::move(callback));
}

void HttpClient::get(const PlixUrl& url, const HttpClientOptions& options, QObject* context,
                     Callback callback) {
    auto* fetch = new HttpFetch(m_session->ready(), options, std::move(callback), this);
    plixConnect(context, &QObject::destroyed, fetch, [fetch] { delete fetch; });
    fetch->start(url, m_session->version);
}
