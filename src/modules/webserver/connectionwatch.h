#pragma once

#include "glibptr.h"
#include "requestgate.h"
#include "socketevents.h"

#include <QObject>
#include <QTimer>
#include <libsoup/soup.h>

#include <functional>
#include <list>
#include <memory>
#include <unordered_map>
#include <vector>

class HangUpWatch;
class LingeringClose;
class UnfinishedHandshake;

// Watches over the connections of one libsoup server, and stands in front of all its handlers.
//
// libsoup looks at a socket only while it wants something from it. A client that sends nothing
// keeps its connection for ever; one that leaves while its exchange is paused goes unnoticed. Here
// every connection is in one of three phases: its request's head is awaited, then its body, then it
// is being answered. In the first two the client must make progress; in the third it must not have
// gone.
//
// A client that has closed its connection looks like one that has only finished sending. So the
// end of its stream ends an exchange only when the client has been sent nothing for a while and
// nothing is on its way to it: short work is answered, a long wait is not for somebody who might
// be there.
//
// Each request's headers are checked before anything else sees it (see RequestGate). A request
// that is refused gets its answer from here, and its connection is taken away from libsoup, which
// would read the whole body first.
//
// Owned by the server, and lives as long as the libsoup server's connections.
class ConnectionWatch : public QObject {
    Q_OBJECT

public:
    // How long a client may take to send a request's head, or the next part of its body, and how
    // long a connection is kept without requests.
    static constexpr int patienceMs = 30000;
    // The same for the first request over TLS: until its handshake is over, the connection keeps
    // one of GLib's few threads from others.
    static constexpr int handshakePatienceMs = 10000;

    ConnectionWatch(SoupServer* server, bool https);
    ~ConnectionWatch() override;

    // The one over this server's connections; null without one.
    static ConnectionWatch* of(SoupServer* server);

    void setPatience(int ms);

    // False when the request must not be served; it has been answered then, and neither it nor the
    // client may be used any more.
    bool admit(SoupClientContext* client);
    // While a request is held back by its handler, its client need not send.
    void setHeld(SoupClientContext* client, bool held);
    // Has the exchange's watch told, from the event loop, when its client hangs up or has done so
    // already; null takes back.
    void setHangUpWatch(SoupClientContext* client, HangUpWatch* watch);
    // For the server's stop: makes sure that nothing waits for a client when its connection is
    // closed. disconnectAll() is libsoup's turn.
    void endAll(const std::function<void()>& disconnectAll);

private:
    enum class Phase { Head, Body, Answer };

    struct Connection {
        ConnectionWatch* watch = nullptr;
        SoupClientContext* client = nullptr;
        GObjectPtr<GSocket> socket;
        GObjectPtr<SoupMessage> message;
        Phase phase = Phase::Head;
        bool held = false;
        bool isFirst = true; // of the connection's requests
        bool isChunked = false;
        bool endOfStream = false;
        int unbroken = 0; // requests that may have been answered within each other
        HangUpWatch* hangUpWatch = nullptr;
        qint64 since = 0; // of the phase, or of the last progress in it
        qint64 progress = 0;
        qint64 kept = 0; // of the body, in memory
        Refusal refusal;
        GSignalConnection disconnected;
        GSignalConnection gotHeaders;
        GSignalConnection gotChunk;
        GSignalConnection gotBody;
    };

    Connection* find(SoupClientContext* client);
    Connection& open(SoupClientContext* client);
    void startRequest(SoupMessage* message, SoupClientContext* client);
    void checkHeaders(Connection* connection);
    void checkLength(Connection* connection);
    void breakRecursion(Connection* connection);
    void countChunk(Connection* connection, qint64 length);
    void refuse(Connection* connection, const Refusal& refusal);
    // From libsoup, and from here: nobody knows the connection afterwards.
    GObjectPtr<GIOStream> takeAway(Connection* connection);
    void noticeEnd(SoupClientContext* client);
    int sweepInterval(bool someMayHaveGone) const;
    void sweep();
    bool isLost(const Connection& connection, qint64 now) const;
    int patience(const Connection& connection) const;
    void end(SoupClientContext* client);
    // Also true of a connection that is idle after its handshake.
    bool mayBeInHandshake(const Connection& connection) const;
    void endHandshake(Connection* connection);
    static void shutDown(const Connection& connection);

    static void on_requestStarted(SoupServer*, SoupMessage* message, SoupClientContext* client,
                                  ConnectionWatch* self);
    static void on_gotHeaders(SoupMessage*, Connection* connection);
    static void on_gotChunk(SoupMessage*, SoupBuffer* chunk, Connection* connection);
    static void on_gotBody(SoupMessage*, Connection* connection);
    static void on_disconnected(SoupSocket*, Connection* connection);

    // Nodes stay where they are: signal handlers point to them.
    std::unordered_map<SoupClientContext*, Connection> m_connections;
    std::list<std::unique_ptr<LingeringClose>> m_lingering;
    std::list<std::unique_ptr<UnfinishedHandshake>> m_handshakes;
    SoupServer* m_server;
    bool m_https;
    GSignalConnection m_requestStarted;
    guint m_gotHeadersSignal = 0;
    SocketEvents m_events;
    QTimer m_sweep;
    int m_patienceMs = patienceMs;
};
