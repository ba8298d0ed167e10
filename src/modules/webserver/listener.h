#pragma once

#include "glibptr.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <libsoup/soup.h>

#include <vector>

// Decides when a libsoup server accepts connections: as long as the process has file descriptors to
// spare.
//
// libsoup accepts whenever it can, and stops for ever when that fails once. So its listening
// sockets are given to a main context that nobody runs, and here they are watched instead: each
// time one has a client waiting and there is room, libsoup's context gets one turn. Otherwise the
// clients wait in the kernel's queue until descriptors have become free.
//
// Owned by the server, which calls close() before it disconnects the libsoup server.
class Listener : public QObject {
    Q_OBJECT

public:
    explicit Listener(SoupServer* server);
    ~Listener() override;

    // Listens on all addresses; 0 takes a free port.
    bool listen(int port, int options, GError** error);
    void close();

private:
    void watch();
    void wait();
    bool hasRoom(GSocket* socket);
    void noteShortage(int limit);
    void accept(GSocket* socket);
    void revive(GSocket* socket);
    static gboolean on_readable(GSocket* socket, GIOCondition condition, gpointer self);

    SoupServer* m_server;
    GMainContextPtr m_context;
    int m_options = 0;
    std::vector<ScopedSource> m_watches;
    QTimer m_retry;
    // Since the process was last found full; invalid before the first time.
    QElapsedTimer m_sinceShortage;
};
