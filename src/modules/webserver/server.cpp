// SPDX-License-Identifier: MIT
#include "server.h"

#include "certificate/certificateissuer.h"
#include "certificate/tlscertificate.h"
#include "connection/connectionbudget.h"
#include "connection/connections.h"
#include "connection/listener.h"
#include "connection/tlscontext.h"
#include "core/dbglog.h"
#include "core/plixconnect.h"
#include "core/plixlooptask.h"
#include "handlers/handler.h"
#include "http/hostcheck.h"
#include "http/origincheck.h"
#include "message.h"

namespace {

constexpr guint httpsDefaultPort = 443;
// How long a browser caches the answer to a preflight request. The setting changes with a restart
// only; browsers notice the change after this time.
const char preflightSeconds[] = "600";

// libsoup does not know that the connection uses TLS, and gives the URI the scheme "http". A URI
// without a port has the default port of its scheme.
void setHttps(SoupURI* uri, const QByteArray& host) {
    if (uri->scheme == SOUP_URI_SCHEME_HTTPS)
        return;
    if (soup_uri_uses_default_port(uri) && !host.endsWith(":80"))
        soup_uri_set_port(uri, httpsDefaultPort);
    uri->scheme = SOUP_URI_SCHEME_HTTPS;
}

} // namespace

Server::Server(int port, const QString& certificate, const QString& privateKey, bool useDeviceCert,
               QObject* parent)
    : QObject(parent), m_port(port) {
    createSoupServer(certificate, privateKey, useDeviceCert);
    if (ok())
        setBudget(std::make_shared<ConnectionBudget>(ConnectionLimits()));
}

void Server::setBudget(std::shared_ptr<ConnectionBudget> budget) {
    dbglog_scopedFunction;
    Q_ASSERT(ok() && !m_running);
    m_listener.reset();
    m_connections = std::make_unique<Connections>(soupServer(), std::move(budget));
    m_listener = std::make_unique<Listener>(soupServer(), *m_connections);
}

void Server::addObserver(ExchangeObserver* observer) {
    m_connections->addObserver(observer);
}

std::map<std::string, int> Server::activities() const {
    return m_connections->activities();
}

std::vector<const SoupMessage*> Server::messages() const {
    return m_connections->messages();
}

Server::~Server() {
    if (ok())
        stop();
}

void Server::createSoupServer(const QString& certificate, const QString& privateKey,
                              bool useDeviceCert) {
    const bool isPlain = certificate.isEmpty() || privateKey.isEmpty();
    if (isPlain || useDeviceCert) {
        m_soupServer = GObjectPtr<SoupServer>::adopt(soup_server_new("raw-paths", TRUE, nullptr));
    } else {
        // The certificate's text contains the key too. The separate key only enables HTTPS.
        const auto loaded = loadCertificate(certificate);
        if (!loaded)
            return;
        m_soupServer = GObjectPtr<SoupServer>::adopt(
            soup_server_new("raw-paths", TRUE, "tls-certificate", loaded.get(), nullptr));
    }
    if (isPlain)
        return;
    m_listenOptions |= SOUP_SERVER_LISTEN_HTTPS;
    if (!useDeviceCert)
        return;
    m_certificateIssuer = std::make_unique<CertificateIssuer>(certificate, privateKey);
    plixConnect(m_certificateIssuer.get(), &CertificateIssuer::issued, this,
                &Server::on_certificateIssuer_issued);
}

bool Server::isWaitingForKey() const {
    return m_certificateIssuer && m_certificateIssuer->isWaiting();
}

int Server::listeningPort() const {
    if (!m_running)
        return 0;
    int port = 0;
    GSList* uris = soup_server_get_uris(m_soupServer.get());
    if (uris)
        port = static_cast<int>(soup_uri_get_port(static_cast<SoupURI*>(uris->data)));
    g_slist_free_full(uris, [](void* uri) { soup_uri_free(static_cast<SoupURI*>(uri)); });
    return port;
}

void Server::start() {
    dbglog_scopedFunction;
    Q_ASSERT(ok());
    if (m_running) {
        dbglog_warning("SOUP server is already running");
        return;
    }
    if (m_certificateIssuer && !m_hasDeviceCertificate) {
        dbglog_info("No device-cert ready to start https server");
        return;
    }
    GErrorPtr error;
    m_running = (!isHttps() || loadTls(error.out())) &&
                m_listener->listen(m_port, m_listenOptions, error.out());
    if (m_running)
        dbglog_info("SOUP server started (port " << m_port << ")");
    else
        dbglog_error("SOUP server failed to start (port " << m_port
                                                          << "), Error: " << error.message());
}

void Server::stop() {
    dbglog_scopedFunction;
    Q_ASSERT(ok());
    m_listener->close();
    m_connections->closeAll();
    soup_server_disconnect(m_soupServer.get());
    m_running = false;
}

// From the certificate that libsoup has.
bool Server::loadTls(GError** error) {
    GTlsCertificate* certificate = nullptr;
    g_object_get(m_soupServer.get(), SOUP_SERVER_TLS_CERTIFICATE, &certificate, nullptr);
    const auto held = GObjectPtr<GTlsCertificate>::adopt(certificate);
    const QByteArray chain = certificateChainText(certificate);
    QString reason;
    auto tls = TlsContext::create(chain, privateKeyText(certificate), &reason);
    if (tls)
        Q_EMIT certificateLoaded(certificateBytes(chain));
    else
        g_set_error_literal(error, G_TLS_ERROR, G_TLS_ERROR_BAD_CERTIFICATE,
                            reason.toUtf8().constData());
    m_connections->setTls(std::move(tls));
    return reason.isEmpty();
}

void Server::addHandler(const QString& path, Handler* handler) {
    dbglog_scopedFunction;
    soup_server_add_handler(m_soupServer.get(), path.toUtf8().constData(), server_callback,
                            new HandlerData{this, handler},
                            [](void* data) { delete static_cast<HandlerData*>(data); });
}

void Server::addEarlyHandler(const QString& path, Handler* handler) {
    dbglog_scopedFunction;
    soup_server_add_early_handler(m_soupServer.get(), path.toUtf8().constData(), server_callback,
                                  new HandlerData{this, handler},
                                  [](void* data) { delete static_cast<HandlerData*>(data); });
}

void Server::setLanguage(const QString& language) {
    dbglog_scopedFunction;
    m_language = language;
}

void Server::setAllowedOrigins(const QByteArrayList& origins) {
    dbglog_scopedFunction;
    m_allowedOrigins = origins;
}

void Server::pauseMessage(bool pause, Message* message) {
    dbglog_scopedFunction;
    Q_ASSERT(ok());
    if (pause)
        message->pause();
    else
        message->unpause();
}

void Server::server_callback(SoupServer*, SoupMessage* message, const char* path, GHashTable* query,
                             SoupClientContext* client, void* userData) {
    const auto* data = static_cast<HandlerData*>(userData);
    data->server->on_request(message, path, query, client, data->handler);
}

bool Server::isAccepted(Message* message) const {
    const QByteArray host = message->header(QStringLiteral("Host"));
    if (!isHostAccepted(host)) {
        dbglog_warning("rejecting message: host=" << host);
        return false;
    }
    const QByteArray origin = message->header(QStringLiteral("Origin"));
    const QByteArray fetchSite = message->header(QStringLiteral("Sec-Fetch-Site"));
    // Clients that are no browsers send neither.
    if (origin.isNull() && fetchSite.isNull())
        return true;
    const RequestOrigin request{message->method(), message->url().path(), host, origin, fetchSite};
    if (isOriginAccepted(request, m_allowedOrigins))
        return true;
    dbglog_warning("rejecting message: origin=" << origin << " sec-fetch-site=" << fetchSite << " "
                                                << message->fullUri());
    return false;
}

// Allows pages of other origins to read the answers of the API. True when the request was a
// preflight request, which is answered here.
bool Server::answerCrossOrigin(Message* message, const char* path) const {
    if (m_allowedOrigins.isEmpty() || !g_str_has_prefix(path, "/api/"))
        return false;
    // A cache must not use the response for one origin for another.
    message->setHeader(QByteArrayLiteral("Vary"), QByteArrayLiteral("Origin"));
    const QByteArray origin = message->header(QStringLiteral("Origin"));
    if (!isOriginAllowed(origin, m_allowedOrigins))
        return false;
    message->setHeader(QByteArrayLiteral("Access-Control-Allow-Origin"), origin);
    if (message->method() != "OPTIONS" ||
        message->header(QStringLiteral("Access-Control-Request-Method")).isNull())
        return false;
    message->setHeader(QByteArrayLiteral("Access-Control-Allow-Methods"),
                       QByteArrayLiteral("GET, POST"));
    message->setHeader(QByteArrayLiteral("Access-Control-Allow-Headers"),
                       QByteArrayLiteral("Content-Type"));
    message->setHeader(QByteArrayLiteral("Access-Control-Max-Age"), preflightSeconds);
    message->setStatus(SOUP_STATUS_NO_CONTENT, QString());
    return true;
}

void Server::on_request(SoupMessage* soupMessage, const char* path, GHashTable* query,
                        SoupClientContext* client, Handler* handler) {
    dbglog_scopedFunction;
    if (isHttps())
        setHttps(soup_message_get_uri(soupMessage),
                 soup_message_headers_get_one(soupMessage->request_headers, "Host"));
    auto* message =
        new Message(MessageData{soupServer(), soupMessage, path, query, client}, handler);
    const PlixLoopTask task("request", [message] { return message->fullUri(); });
    if (!m_language.isEmpty() && !message->header(QStringLiteral("Accept-Language")).isNull())
        message->setHeader(QStringLiteral("Content-Language"), m_language);

    if (!isAccepted(message)) {
        message->setStatus(SOUP_STATUS_FORBIDDEN, QString());
        // The rest of the body is not needed.
        message->setAccumulate(false);
    } else if (!answerCrossOrigin(message, path)) {
        handler->handle(message);
    }

    message->forgetCallbackArguments();
    message->deleteWhenFinished();
}

void Server::updateIpAddresses(const QSet<QString>& addresses) {
    dbglog_scopedFunction;
    if (!m_certificateIssuer)
        return;
    if (m_running)
        stop();
    m_certificateIssuer->issue(addresses);
}

void Server::on_certificateIssuer_issued() {
    GErrorPtr error;
    m_hasDeviceCertificate = soup_server_set_ssl_cert_file(
        m_soupServer.get(), DeviceCertificate::certificateFile().toUtf8().constData(),
        DeviceCertificate::keyFile().toUtf8().constData(), error.out());
    if (m_hasDeviceCertificate)
        start();
    else
        dbglog_error("Apply cert failed: " << error.message());
}
