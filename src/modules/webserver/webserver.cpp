// SPDX-License-Identifier: MIT
#include "webserver.h"

#include "certificate/tlscertificate.h"
#include "connection/connectionbudget.h"
#include "core/dbglog.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/model/cmvalueitem.h"
#include "core/plixconnect.h"
#include "core/plixlooptask.h"
#include "core/plixpaths.h"
#include "files/recentfiles.h"
#include "handlers/handler.h"
#include "handlers/matchhandler.h"
#include "handlers/multiparthandler.h"
#include "handlers/responderhandler.h"
#include "handlers/reverseproxyhandler.h"
#include "handlers/statichandler.h"
#include "http/origincheck.h"
#include "metrics/metricshandler.h"
#include "responders/api/apiresponder.h"
#include "responders/event/eventresponder.h"
#include "responders/event/eventrespondershared.h"
#include "responders/file/fileresponder.h"
#include "responders/firmware/firmwareupdateresponder.h"
#include "responders/multipartresponderfactory.h"
#include "responders/page/pageresponder.h"
#include "responders/page/pagetexts.h"
#include "responders/responderfactory.h"
#include "responders/stream/stalepipes.h"
#include "responders/stream/streamresponder.h"
#include "server.h"

#include <QHostAddress>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/random.h>

namespace {

PlixValue setting(const CMPath& path) {
    return PlixValue(CMRoot()->getValue(path).toHash());
}

// A limit that is not set, or not above 0, has its default.
ConnectionLimits configuredLimits() {
    static const std::pair<const char*, qint64 ConnectionLimits::*> names[] = {
        {"connections", &ConnectionLimits::connections},
        {"connectionsPerAddress", &ConnectionLimits::connectionsPerAddress},
        {"handshakes", &ConnectionLimits::handshakes},
        {"bodyBytes", &ConnectionLimits::bodyBytes},
        {"heldBytes", &ConnectionLimits::heldBytes},
        {"headMs", &ConnectionLimits::headMs},
        {"handshakeMs", &ConnectionLimits::handshakeMs},
        {"bodyMs", &ConnectionLimits::bodyMs},
        {"idleMs", &ConnectionLimits::idleMs}};
    ConnectionLimits limits;
    for (const auto& [name, limit] : names) {
        const PlixValue value = setting(PlixWebserverLimitPath(QString::fromLatin1(name)));
        const qint64 number = value.i32_() > 0 ? value.i32_() : value.i64_();
        if (number > 0)
            limits.*limit = number;
    }
    return limits;
}

// The addresses of one network interface's record.
void insertAddresses(const QVariant& record, QSet<QString>* addresses) {
    const QVariantList entries = record.toHash().value(QStringLiteral("addresses")).toList();
    for (const QVariant& entry : entries) {
        // A certificate has no scope identifiers. Only an address is passed on to openssl, because
        // openssl would read other options from arbitrary text.
        QHostAddress address(entry.toHash().value(QStringLiteral("ip")).toString());
        address.setScopeId(QString());
        if (!address.isNull())
            addresses->insert(address.toString());
    }
}

QSet<QString> addressesOf(const PlixValue& networkInfo) {
    const QVariantHash& info = networkInfo.__hash();
    QSet<QString> addresses;
    insertAddresses(info.value(QStringLiteral("wired")), &addresses);
    insertAddresses(info.value(QStringLiteral("wireless")), &addresses);
    const QVariantList accessPoints = info.value(QStringLiteral("softAp"))
                                          .toHash()
                                          .value(QStringLiteral("accessPoints"))
                                          .toList();
    for (const QVariant& accessPoint : accessPoints)
        insertAddresses(accessPoint, &addresses);
    return addresses;
}

// Not guessable: with a seed from the clock, the names of stream pipes could be predicted.
unsigned int randomSeed() {
    unsigned int seed = 0;
    if (getrandom(&seed, sizeof seed, 0) == ssize_t(sizeof seed))
        return seed;
    dbglog_warning("No random seed: " << strerror(errno));
    return static_cast<unsigned int>(g_get_monotonic_time());
}

} // namespace

WebserverWorker::WebserverWorker(const QVariantHash& config)
    : CMNodesWorker(config, QStringLiteral("SoupServer")) {
    dbglog_scopedFunction;
    // The names of stream pipes are drawn from this generator.
    srandom(randomSeed());
    removeStalePipes();

    m_documentRoot = setting(PlixWebserverDocumentRootPath()).string_();
    m_defaultLocation = setting(PlixWebserverDefaultLocationPath()).string_();
    m_responderConfiguration.strict = setting(PlixWebserverStrictPath()).bool_();

    m_budget = std::make_shared<ConnectionBudget>(configuredLimits());
    m_allowedOrigins =
        originsOf(CMRoot()->getValue(PlixWebserverAllowedOriginsPath()).toStringList());
    m_eventShared = QSharedPointer<EventResponderShared>::create();
    if (setting(PlixWebserverMetricsPath()).bool_())
        m_metrics.emplace();
    if (setting(PlixWebserverAccessLogPath()).bool_())
        m_accessLog.emplace();

    const int port = setting(PlixWebserverPortPath()).i32_();
    if (port > 0)
        startServer(port, QString(), QString(), false);

    const QString certificate = setting(PlixWebserverHttpsCertPath()).string_();
    const QString privateKey = setting(PlixWebserverHttpsPrivateKeyPath()).string_();
    const bool useDeviceCert = setting(PlixWebserverHttpsUseDeviceCertPath()).bool_();
    const int httpsPort = setting(PlixWebserverHttpsPortPath()).i32_();
    if (!certificate.isEmpty() && !privateKey.isEmpty() && httpsPort > 0)
        startServer(httpsPort, certificate, privateKey, useDeviceCert);

    new CMValueItem(this, PlixUILanguagePath(), this, SLOT(on_uiLanguage_changed(PlixValue)));
    new CMValueItem(this, PlixNetworkInfoPath(), this, SLOT(on_networkInfo_changed(PlixValue)));
}

WebserverWorker::~WebserverWorker() {
    // The servers go first: their exchanges are children of the handlers.
    qDeleteAll(m_servers);
    RecentFiles::instance().clear();
}

void WebserverWorker::startServer(int port, const QString& certificate, const QString& privateKey,
                                  bool useDeviceCert) {
    dbglog_scopedFunction;
    dbglog_info("Port: " << port << " document root: " << m_documentRoot);
    auto server = std::make_unique<Server>(port, certificate, privateKey, useDeviceCert, this);
    if (!server->ok()) {
        dbglog_fatal("Failed to create server on port: " << port);
        return;
    }
    server->setBudget(m_budget);
    if (m_metrics)
        server->addObserver(&*m_metrics);
    if (m_accessLog)
        server->addObserver(&*m_accessLog);
    plixConnect(server.get(), &Server::certificateLoaded, this, [this](const QByteArray& bytes) {
        publishText(QStringLiteral("certificate/sha256"), certificateFingerprint(bytes));
    });
    if (useDeviceCert)
        publishAuthority(certificate);
    addUrlMap(server.get(), !certificate.isEmpty() && !privateKey.isEmpty() && useDeviceCert);
    server->setAllowedOrigins(m_allowedOrigins);
    server->start();
    m_servers.append(server.release());
}

void WebserverWorker::publishText(const QString& name, const QString& text) {
    PlixValue value;
    value.setString_(text);
    setNode(QStringLiteral("SoupServer:") + name,
            {{PlixRolesType::Value(), value.__variant()}, {PlixRoles::Modifiable(), false}});
}

// The certificate alone: the setting's text may contain the key as well.
void WebserverWorker::publishAuthority(const QString& certificate) {
    const QByteArray bytes = certificateBytes(certificate.toUtf8());
    if (bytes.isEmpty())
        return;
    const QString fingerprint = certificateFingerprint(bytes);
    dbglog_info("HTTPS authority: SHA-256 " << fingerprint);
    publishText(QStringLiteral("authority/sha256"), fingerprint);
    publishText(QStringLiteral("authority/certificate"), QString::fromLatin1(bytes.toBase64()));
}

void WebserverWorker::addUrlMap(Server* server, bool servesPages) {
    const auto keep = [this](Handler* handler) {
        m_handlers.emplace_back(handler);
        return handler;
    };
    const auto responders = [this](ResponderFactory* factory) {
        return new ResponderHandler(factory, m_documentRoot, nullptr);
    };
    using ApiFactory = DefaultResponderFactory<ApiResponder, ResponderConfiguration&>;
    using EventFactory =
        DefaultResponderFactory<EventResponder, QSharedPointer<EventResponderShared>&>;

    server->addHandler(QStringLiteral("/"), keep(new Handler(m_documentRoot, nullptr)));
    server->addHandler(QStringLiteral("/api/"),
                       keep(responders(new ApiFactory(m_responderConfiguration))));
    server->addHandler(QStringLiteral("/api/event/"),
                       keep(responders(new EventFactory(m_eventShared))));
    server->addHandler(QStringLiteral("/api/stream/"),
                       keep(responders(new DefaultResponderFactory<StreamResponder>)));
    server->addHandler(QStringLiteral("/file/stream/"),
                       keep(responders(new DefaultResponderFactory<FileResponder>)));
    server->addHandler(QStringLiteral("/proxy/"),
                       keep(new ReverseProxyHandler(m_documentRoot, nullptr)));
    if (m_metrics) {
        const QStringList clients =
            CMRoot()->getValue(PlixWebserverMetricsClientsPath()).toStringList();
        server->addHandler(
            QString::fromLatin1(MetricsHandler::path),
            keep(new MetricsHandler([this] { return metrics(); }, clients, nullptr)));
    }
    // Pages are served only with the device certificate. Other servers answer with the hint of the
    // base handler above.
    if (servesPages) {
        auto* pages = new MatchHandler(m_documentRoot, nullptr);
        pages->addHandler(QStringLiteral("*.fcgi"),
                          responders(new DefaultResponderFactory<PageResponder>));
        pages->addHandler(new StaticHandler(m_documentRoot, m_defaultLocation, QString(), nullptr));
        server->addHandler(QStringLiteral("/"), keep(pages));
    }
    server->addEarlyHandler(
        QStringLiteral("/"),
        keep(new MultipartHandler(new DefaultMultipartResponderFactory<FirmwareUpdateResponder>,
                                  m_documentRoot, server, nullptr)));
}

std::vector<MetricFamily> WebserverWorker::metrics() const {
    std::map<std::string, int> activities;
    std::map<std::string, int> inProgress;
    for (const Server* server : m_servers) {
        for (const SoupMessage* message : server->messages())
            ++inProgress[RequestMetrics::areaOf(message)];
        for (const auto& [activity, count] : server->activities())
            activities[activity] += count;
    }
    std::vector<MetricFamily> families = m_metrics->families();
    families.push_back(MetricFamily::gauge(
        "plix_requests_in_progress", "Requests that are being answered.", "area", inProgress));
    families.push_back(MetricFamily::gauge("plix_connections", "Connections, by what they do.",
                                           "activity", activities));
    families.push_back(MetricFamily::gauge(
        "plix_held_bytes", "Bytes that all clients have in memory.", double(m_budget->held())));
    families.push_back(MetricFamily::gauge("plix_event_queues", "Event queues of clients.",
                                           m_eventShared->queues()));
    families.push_back(MetricFamily::counter("plix_long_loop_turns",
                                             "Turns of the event loop of more than 100 ms.",
                                             double(PlixLoopTurn::longTurns())));
    return families;
}

void WebserverWorker::getDataRequest(const CMGetDataRequest& request) {
    static const QString path = QStringLiteral("SoupServer:metrics");
    if (m_metrics && request.path.toEncoded() == path)
        setNode(path, {{PlixRolesType::Value(), samplesOf(metrics())},
                       {PlixRoles::Internal(), true},
                       {PlixRoles::Modifiable(), false}});
    CMNodesWorker::getDataRequest(request);
}

int WebserverWorker::listeningPort(bool https) const {
    for (const Server* server : m_servers) {
        if (server->isRunning() && server->isHttps() == https)
            return server->listeningPort();
    }
    return 0;
}

int WebserverWorker::httpPort() const {
    return listeningPort(false);
}

int WebserverWorker::httpsPort() const {
    return listeningPort(true);
}

bool WebserverWorker::isStarting() const {
    return std::any_of(m_servers.begin(), m_servers.end(),
                       [](const Server* server) { return server->isWaitingForKey(); });
}

void WebserverWorker::on_uiLanguage_changed(const PlixValue& value) {
    dbglog_scopedFunction;
    for (Server* server : qAsConst(m_servers))
        server->setLanguage(value.string_());
    const QMap<QString, QString> texts = pageTexts(m_documentRoot, value.string_());
    for (auto text = texts.begin(); text != texts.end(); ++text)
        publishText(QStringLiteral("texts/") + text.key(), *text);
}

void WebserverWorker::on_networkInfo_changed(const PlixValue& value) {
    dbglog_scopedFunction;
    const QSet<QString> addresses = addressesOf(value);
    if (addresses == m_ipAddresses)
        return;
    dbglog_info("Updating IP addr list: " << addresses);
    m_ipAddresses = addresses;
    const QList<Server*> servers = m_servers;
    for (Server* server : servers)
        server->updateIpAddresses(addresses);
}
