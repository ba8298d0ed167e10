// webserver.h: Reads the settings, starts the servers and declares the URL map.
#pragma once

#include "core/model/cmnodesworker.h"
#include "core/plixvalue.h"
#include "responders/api/responderconfiguration.h"

#include <QByteArrayList>
#include <QList>
#include <QSet>
#include <QSharedPointer>
#include <QString>

#include <memory>
#include <vector>

class ConnectionBudget;
class EventResponderShared;
class Handler;
class Server;

// The worker that the host loads: reads its settings from the data model, runs up to two servers
// with the URL map of webserver.cpp, and follows the user interface's language and the device's
// addresses. Owned by the host. Servers are its children; the handlers of the map live as long
// as the worker.
class WebserverWorker : public CMNodesWorker {
    Q_OBJECT
    // The ports that the servers listen on, 0 for one that does not; for the host's ready line.
    Q_PROPERTY(int httpPort READ httpPort)
    Q_PROPERTY(int httpsPort READ httpsPort)
    // Whether a server has yet to listen for want of a key, which openssl is making.
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

private Q_SLOTS:
    void on_uiLanguage_changed(const PlixValue& value);
    void on_networkInfo_changed(const PlixValue& value);

private:
    void addUrlMap(Server* server, bool servesPages);
    int listeningPort(bool https) const;

    QString m_documentRoot;
    QString m_defaultLocation;
    QByteArrayList m_allowedOrigins;
    QList<Server*> m_servers;
    // Of all servers together.
    std::shared_ptr<ConnectionBudget> m_budget;
    QSharedPointer<EventResponderShared> m_eventShared;
    ResponderConfiguration m_responderConfiguration;
    QSet<QString> m_ipAddresses;
    std::vector<std::unique_ptr<Handler>> m_handlers;
};
