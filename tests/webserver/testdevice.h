// SPDX-License-Identifier: MIT
#pragma once

#include "connection/connectionlimits.h"
#include "core/model/cmnodesworker.h"
#include "core/model/cmrootworker.h"
#include "files.h"
#include "handlers/handler.h"
#include "server.h"
#include "webserver.h"

#include <QLockFile>
#include <QTemporaryDir>
#include <QVariantHash>

#include <functional>
#include <memory>
#include <vector>

// A handler that does what a test says.
class FunctionHandler : public Handler {
public:
    explicit FunctionHandler(std::function<void(Message*)> function)
        : Handler(QString(), nullptr), m_function(std::move(function)) {}
    void handle(Message* message) override { m_function(message); }

private:
    std::function<void(Message*)> m_function;
};

// The roles of a node, the value of which is a PlixValue of the given type.
QVariantHash valueNode(const char* type, const QVariant& value, QVariantHash more = {});

// Bytes without a pattern, the same ones each time.
QByteArray noise(int size);

// Fails the running test when the life of the object leaves anything behind: a file descriptor, or
// a FIFO of a stream. Made before what it watches.
class LeakCheck {
public:
    LeakCheck();
    ~LeakCheck();

private:
    int m_descriptors;
    int m_pipes;
};

// Gives every client so long to send what it owes.
ConnectionLimits patience(int ms);

// A server on a free port with the handlers that a test gives it, plain or with a certificate that
// is made here. At its end it checks that no message has survived.
class TestServer {
public:
    explicit TestServer(bool tls = false, const ConnectionLimits& limits = {});
    ~TestServer();

    // Takes the handler over.
    void add(const QString& path, Handler* handler);
    void add(const QString& path, std::function<void(Message*)> function) {
        add(path, new FunctionHandler(std::move(function)));
    }
    void addEarly(const QString& path, Handler* handler);
    int port() const { return m_server->listeningPort(); }
    Server& server() { return *m_server; }

private:
    LeakCheck m_leaks;
    std::vector<std::unique_ptr<Handler>> m_handlers;
    std::unique_ptr<Server> m_server;
};

// A whole device in the test's process: a data model with in-memory workers for the nodes given
// (encoded path to roles, and "rows"), and a real web server worker on free ports.
class TestDevice {
public:
    explicit TestDevice(const QVariantHash& nodes = {});
    ~TestDevice();

    int port() const { return m_web->httpPort(); }
    int httpsPort() const { return m_web->httpsPort(); }
    // The document root; empty at the start.
    QString root() const { return m_root.path(); }
    void writeFile(const QString& name, const QByteArray& content) const {
        ::writeFile(m_root.filePath(name), content);
    }
    CMNodesWorker& worker(const QString& name) { return *m_workers.at(name); }
    WebserverWorker& web() { return *m_web; }

    // Nodes that let the device serve pages over HTTPS with a certificate for 127.0.0.1, made by
    // the device from an authority that is made here.
    static QVariantHash httpsNodes();

private:
    LeakCheck m_leaks;
    // The device certificate has its files under fixed names: one device at a time has one.
    std::unique_ptr<QLockFile> m_certificateLock;
    QTemporaryDir m_root;
    CMRootWorker m_rootWorker;
    std::map<QString, std::unique_ptr<CMNodesWorker>> m_workers;
    std::unique_ptr<WebserverWorker> m_web;
};

// A port of loopback that nobody uses at the moment.
int freePort();

// Runs what is queued in the event loop, deferred deletions included.
void settle();
