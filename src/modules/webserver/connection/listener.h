// SPDX-License-Identifier: MIT
#pragma once

#include "connection/socketpoller.h"
#include "glibptr.h"

#include <QElapsedTimer>
#include <QTimer>
#include <libsoup/soup.h>

#include <memory>
#include <vector>

class Connections;

// Listens through a libsoup server and accepts its connections. When the process runs out of file
// descriptors, the client that has been idle longest is closed for a new one.
//
// libsoup's own accept sources are attached to a main context that is never run.
//
// Owned by the server, which calls close() before it disconnects the libsoup server.
class Listener {
public:
    Listener(SoupServer* server, Connections& connections);
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    // Listens on all addresses; 0 takes a free port.
    bool listen(int port, int options, GError** error);
    void close();

private:
    class Socket;

    void watch();
    void pause();
    void accept(int listening);
    static bool hasRoom(int anyDescriptor);
    bool makeRoom();

    SoupServer* m_server;
    Connections& m_connections;
    GMainContextPtr m_context;
    std::vector<std::unique_ptr<Socket>> m_sockets;
    QTimer m_retry;
    // Since the process was last found full; invalid before the first time.
    QElapsedTimer m_sinceShortage;
};
