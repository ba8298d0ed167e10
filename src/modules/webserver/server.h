// SPDX-License-Identifier: MIT

// server.h: Listens on one port, checks each request's host and origin, and calls its handler.
#pragma once

#include "glibptr.h"

#include <QByteArrayList>
#include <QObject>
#include <QSet>
#include <QString>
#include <libsoup/soup.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

class CertificateIssuer;
class ConnectionBudget;
class Connections;
class ExchangeObserver;
class Handler;
class Listener;
class TlsContext;
class Message;

// A server that listens on one port, plain or over TLS.
//
// The life of a request: a Connection reads it, refuses a malformed one, and passes any other to
// libsoup. libsoup calls the early handler of the path, if there is one, before it reads the body.
// After the body it calls the handler that is registered for the longest prefix of the path. Both
// calls go through on_request(). It wraps the exchange into a Message, whose parent is the handler,
// sets "Content-Language", and answers a foreign Host, or a write by a foreign page, with 403. The
// handler answers at once, or pauses the message and adds to the body later, which resumes it. The
// exchange ends when the response has been sent, the client has left, or the server stops. Then the
// Message emits finished() and deletes itself from the event loop. No object of an exchange is
// deleted inside a callback of libsoup, and none may touch the exchange after its end.
//
// With `useDeviceCert` the certificate and the key are those of an authority. Such a server listens
// only after updateIpAddresses() has made a certificate for the device's addresses.
//
// Owned by the worker. Handlers are not owned and must outlive the server.
class Server : public QObject {
    Q_OBJECT

public:
    // PEM texts; both empty for plain HTTP. With `useDeviceCert` false the certificate's text also
    // contains the private key.
    Server(int port, const QString& certificate, const QString& privateKey, bool useDeviceCert,
           QObject* parent);
    ~Server() override;

    // False when the certificate could not be loaded. Then the server can only be deleted.
    bool ok() const { return bool(m_soupServer); }
    int port() const { return m_port; }
    // The port that the server listens on; the system chooses one if port() is 0. 0 while the
    // server does not listen.
    int listeningPort() const;
    bool isRunning() const { return m_running; }
    bool isHttps() const { return m_listenOptions & SOUP_SERVER_LISTEN_HTTPS; }
    SoupServer* soupServer() const { return m_soupServer.get(); }

    void start();
    // Stops listening and closes all connections.
    void stop();

    // Registers a handler for the requests below a path prefix; a second one for the same path
    // replaces the first.
    void addHandler(const QString& path, Handler* handler);
    // The same for a handler that is called before the body is read. libsoup calls it only for
    // requests whose longest registered prefix is this path.
    void addEarlyHandler(const QString& path, Handler* handler);

    // Pauses or resumes an exchange of this server. Does nothing after the end of the exchange.
    void pauseMessage(bool pause, Message* message);

    // The limits on the clients of all servers that share the budget. Must be called before
    // start(). The default is a budget for this server alone.
    void setBudget(std::shared_ptr<ConnectionBudget> budget);

    // Is told of all requests from now on. Must live as long as the server. Lost by setBudget().
    void addObserver(ExchangeObserver* observer);
    // See Connections.
    std::map<std::string, int> activities() const;
    std::vector<const SoupMessage*> messages() const;

    // The value of "Content-Language"; no header while empty.
    void setLanguage(const QString& language);
    QString language() const { return m_language; }

    // The origins, besides the device's own, whose pages may write, and read the answers below
    // "/api/". None by default.
    void setAllowedOrigins(const QByteArrayList& origins);

    // Stops a server with a device certificate, has a certificate made for these addresses, and
    // starts it again. The server stays stopped, until the next call, when there are no addresses
    // or a step fails. It starts later, not during the call, while openssl makes the key or another
    // process holds the lock of the files.
    void updateIpAddresses(const QSet<QString>& addresses);
    // Whether the server waits for the key or for the lock of the files.
    bool isWaitingForKey() const;

Q_SIGNALS:
    // Connections from now on use this certificate (DER).
    void certificateLoaded(const QByteArray& certificate);

private:
    struct HandlerData {
        Server* server;
        Handler* handler;
    };

    void createSoupServer(const QString& certificate, const QString& privateKey,
                          bool useDeviceCert);
    void on_certificateIssuer_issued();
    bool loadTls(GError** error);
    bool isAccepted(Message* message) const;
    bool answerCrossOrigin(Message* message, const char* path) const;
    void on_request(SoupMessage* soupMessage, const char* path, GHashTable* query,
                    SoupClientContext* client, Handler* handler);
    static void server_callback(SoupServer* soupServer, SoupMessage* message, const char* path,
                                GHashTable* query, SoupClientContext* client, void* userData);

    GObjectPtr<SoupServer> m_soupServer;
    int m_port;
    bool m_running = false;
    QString m_language;
    QByteArrayList m_allowedOrigins;
    int m_listenOptions = 0;
    // Null without a soup server.
    std::unique_ptr<Connections> m_connections;
    std::unique_ptr<Listener> m_listener;
    // Null unless the server uses a device certificate.
    std::unique_ptr<CertificateIssuer> m_certificateIssuer;
    bool m_hasDeviceCertificate = false;
};
