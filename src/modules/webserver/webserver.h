// SPDX-License-Identifier: MIT

// webserver.h: Reads the settings, starts the servers and declares the URL map.
#pragma once

#include "core/model/cmnodesworker.h"
#include "core/plixvalue.h"
#include "metrics/accesslog.h"
#include "metrics/requestmetrics.h"
#include "responders/api/responderconfiguration.h"

#include <QByteArrayList>
#include <QList>
#include <QSet>
#include <QSharedPointer>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

class ConnectionBudget;
class EventResponderShared;
class Handler;
class Server;

// The worker that the host loads. It reads its settings from the data model, runs up to two servers
// with the URL map of webserver.cpp, and follows the language of the user interface and the
// addresses of the device. Owned by the host. The servers are its children; the handlers of the URL
// map live as long as the worker.
//
// Its nodes, for pages, are texts that clients can read:
// "SoupServer:certificate/sha256": the fingerprint of the HTTPS certificate in use;
// "SoupServer:authority/sha256" and ".../certificate": of the authority that signs the device's
// certificates, its fingerprint and the certificate (DER in Base64);
// "SoupServer:texts/ENGLISH": the pages' texts in the language of the user interface, see
// pagetexts.h.
//
// With metrics switched on, the value of the internal node "SoupServer:metrics" is an object of
// sample names, as in the text of OpenMetrics, to numbers.
class WebserverWorker : public CMNodesWorker {
    Q_OBJECT
    // The ports that the servers listen on; 0 while a server does not listen.
    Q_PROPERTY(int httpPort READ httpPort)
    Q_PROPERTY(int httpsPort READ httpsPort)
    // Whether a server waits for its key, which openssl is making, before it listens.
    Q_PROPERTY(bool starting READ isStarting)

public:
    explicit WebserverWorker(const QVariantHash& config);
    ~WebserverWorker() override;

    // Creates one server with its handlers and starts it. PEM texts; both empty for plain HTTP.
    void startServer(int port, const QString& certificate, const QString& privateKey,
                     bool useDeviceCert);
    QString documentRoot() const { return m_documentRoot; }
    int httpPort() const;
    int httpsPort() const;
    bool isStarting() const;

    void getDataRequest(const CMGetDataRequest& request) override;

private Q_SLOTS:
    void on_uiLanguage_changed(const PlixValue& value);
    void on_networkInfo_changed(const PlixValue& value);

private:
    void publishText(const QString& name, const QString& text);
    void publishAuthority(const QString& certificate);
    void addUrlMap(Server* server, bool servesPages);
    std::vector<MetricFamily> metrics() const;
    int listeningPort(bool https) const;

    QString m_documentRoot;
    QString m_defaultLocation;
    QByteArrayList m_allowedOrigins;
    QList<Server*> m_servers;
    // Absent while they are switched off.
    std::optional<RequestMetrics> m_metrics;
    std::optional<AccessLog> m_accessLog;
    // Shared by all servers.
    std::shared_ptr<ConnectionBudget> m_budget;
    QSharedPointer<EventResponderShared> m_eventShared;
    ResponderConfiguration m_responderConfiguration;
    QSet<QString> m_ipAddresses;
    std::vector<std::unique_ptr<Handler>> m_handlers;
};
