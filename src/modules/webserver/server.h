// server.h: Listens on one port, checks each request's host and origin, and calls its handler.
#pragma once

#include "glibptr.h"

#include <QByteArrayList>
#include <QObject>
#include <QSet>
#include <QString>
#include <libsoup/soup.h>

#include <memory>

class CertificateIssuer;
class ConnectionBudget;
class Connections;
class Handler;
class Listener;
class TlsContext;
class Message;

// One listening server on one port, plain or over TLS, and the way of a request into the handlers.
//
// The life of a request: a Connection reads it, refuses what no handler may see, and lends it to
// libsoup, which offers it to the early handler of its path, if there is one, which may take the
// body as it arrives; after the body it calls the handler that is registered for the longest prefix
// of the path. Either way on_request() wraps the exchange into a Message, whose parent is that
// handler, announces the language, and refuses foreign Host headers and
// what foreign pages write. The handler answers at once,
// or pauses the message and adds to it later, which resumes it. When libsoup reports the end of the
// exchange, because the answer has gone out, the client has left or the server stops, the Message
// says so and then deletes itself from the event loop: no object of an exchange dies inside one of
// libsoup's callbacks, and none may touch the exchange after its end.
//
// A server with a certificate and `useDeviceCert` treats them as an authority: it listens only
// once updateIpAddresses() has made a certificate for the device's addresses.
//
// Owned by the worker. Handlers are not owned and must outlive the server.
class Server : public QObject {
    Q_OBJECT

public:
    // PEM texts; both empty for plain HTTP. With `useDeviceCert` false the certificate text holds
    // the private key as well.
    Server(int port, const QString& certificate, const QString& privateKey, bool useDeviceCert,
           QObject* parent);
    ~Server() override;

    // False when the certificate could not be loaded. Such a server can only be deleted.
    bool ok() const { return bool(m_soupServer); }
    int port() const { return m_port; }
    // The port that it listens on, which is another one than port() when that is 0; 0 while it
    // does not listen.
    int listeningPort() const;
    bool isRunning() const { return m_running; }
    bool isHttps() const { return m_listenOptions & SOUP_SERVER_LISTEN_HTTPS; }
    SoupServer* soupServer() const { return m_soupServer.get(); }

    void start();
    // Ends all connections too.
    void stop();

    // Registers a handler for the requests below a path prefix; a second one for the same path
    // replaces the first.
    void addHandler(const QString& path, Handler* handler);
    // The same for a handler that is called before the body has been read. libsoup calls it only
    // for requests whose longest registered prefix is this very path.
    void addEarlyHandler(const QString& path, Handler* handler);

    // Stops or resumes an exchange of this server; nothing happens after the exchange's end.
    void pauseMessage(bool pause, Message* message);

    // What its clients may take, together with those of all servers that share the budget. To be
    // called before start(); a server has a budget of its own otherwise.
    void setBudget(std::shared_ptr<ConnectionBudget> budget);

    // What "Content-Language" says; nothing while empty.
    void setLanguage(const QString& language);
    QString language() const { return m_language; }

    // The origins, besides the device's own, whose pages may read the answers below "/api/" and
    // write. Nobody's while empty.
    void setAllowedOrigins(const QByteArrayList& origins);

    // For a server with a device certificate: stops, makes a certificate for these addresses, and
    // starts with it. Stays stopped without addresses, or when that fails, until the next change.
    // The first time it starts later, when openssl has found a key, and always when another device
    // is at work with the files: that takes long, and the other server is not to wait for it.
    void updateIpAddresses(const QSet<QString>& addresses);
    // Whether it will start, or say why not, once it has a key and the files.
    bool isWaitingForKey() const;

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
