// SPDX-License-Identifier: MIT

// A platform of its own in one file: what a host has to bring so that the web server plug-in runs.
// It has a data model (a hash of nodes), a registry of workers and an event loop, and takes only
// the value types and the workers' base classes from libplix_api. Run it as
//
//     minimalplatform PLUGIN DOCUMENT_ROOT PORT
//
// and ask: curl 'http://localhost:PORT/api/getData?path=lamp:brightness&roles=title,value'

#include "core/model/cmchangenotifier.h"
#include "core/model/cmrequest.h"
#include "core/model/cmroles.h"
#include "core/model/cmroot.h"
#include "core/model/cmvalues.h"
#include "core/plixhost.h"
#include "core/plixpaths.h"
#include "core/plixvalue.h"

#include <QCoreApplication>
#include <QHash>
#include <QTemporaryDir>
#include <glib-unix.h>
#include <log4cplus/configurator.h>

#include <csignal>
#include <cstdio>
#include <dlfcn.h>
#include <memory>

namespace {

CMError nodeNotFound(const CMPath& path) {
    return CMError::fromName(CMErrorNames::nodeNotFound(),
                             QStringLiteral("There is no node \"%1\"").arg(path.toEncoded()));
}

// The whole data model of this device, and what workers announce themselves to. A real platform
// would pass the requests on: to its own tree, to another thread, over a bus. All it owes is that
// every reply ends, once, and on the event loop's thread.
class Platform : public CMAbstractWorker, public CMWorkerRegistry {
public:
    Platform() {
        qRegisterMetaType<CMVoidReply>();
        plixInstallRoot(this, this);
    }
    ~Platform() override { plixInstallRoot(nullptr, nullptr); }

    void addNode(const CMPath& path, const QVariant& value, const QVariantHash& roles) {
        QVariantHash node = roles;
        node.insert(PlixRolesType::Value(), PlixValue::fromScalar(value).__variant());
        m_nodes.insert(path, node);
    }
    // A setting is nobody's business on the network.
    void addSetting(const CMPath& path, const QVariant& value) {
        addNode(path, value, {{PlixRoles::Internal(), true}});
    }

    void getDataRequest(const CMGetDataRequest& request) override {
        if (CMAbstractWorker* worker = m_workers.value(request.path.worker()))
            return worker->getDataRequest(request);
        const auto node = m_nodes.constFind(request.path);
        if (node == m_nodes.constEnd())
            return request.reply.fail(nodeNotFound(request.path));
        QVariantList values;
        for (const QString& role : request.roles)
            values.append(node->value(role));
        request.reply.finish(values);
    }

    void getRowsRequest(const CMGetRowsRequest& request) override {
        if (CMAbstractWorker* worker = m_workers.value(request.path.worker()))
            return worker->getRowsRequest(request);
        // No node of this device is a list.
        if (!m_nodes.contains(request.path))
            return request.reply.fail(nodeNotFound(request.path));
        PlixRowsRoles rows;
        rows.setRows(QVariantList());
        rows.setCount(0);
        rows.setVersion(1);
        request.reply.finish(rows);
    }

    void setDataRequest(const CMSetDataRequest& request) override {
        if (CMAbstractWorker* worker = m_workers.value(request.path.worker()))
            return worker->setDataRequest(request);
        const auto node = m_nodes.find(request.path);
        if (node == m_nodes.end())
            return request.reply.fail(nodeNotFound(request.path));
        if (request.role != PlixRolesType::Value())
            return request.reply.fail(CMError::fromName(
                CMErrorNames::notModifiable(), QStringLiteral("Only values can be written")));
        PlixValue value;
        if (!CMValues::record(node->value(request.role)).convert(request.value, &value))
            return request.reply.fail(CMError::fromName(
                CMErrorNames::typeMismatch(), QStringLiteral("The value is of another type")));
        node->insert(request.role, value.__variant());
        request.reply.finish(value.__variant());
        // Event queues and everyone else who watches the node learn of it here.
        m_changes.valueChanged(request.path, value);
    }

    bool connectValueChange(const CMPath& path, QObject* receiver, const char* slot,
                            Qt::ConnectionType type) override {
        return m_changes.connect(path, SIGNAL(valueChanged(PlixValue, CMPath)), receiver, slot,
                                 type);
    }
    bool disconnectValueChange(const CMPath& path, QObject* receiver, const char* slot) override {
        return m_changes.disconnect(path, SIGNAL(valueChanged(PlixValue, CMPath)), receiver, slot);
    }
    bool connectDataChange(const CMPath& path, QObject* receiver, const char* slot,
                           Qt::ConnectionType type) override {
        return m_changes.connect(path, SIGNAL(dataChanged(QString, CMPath)), receiver, slot, type);
    }
    bool disconnectDataChange(const CMPath& path, QObject* receiver, const char* slot) override {
        return m_changes.disconnect(path, SIGNAL(dataChanged(QString, CMPath)), receiver, slot);
    }
    bool connectRowsChange(const CMPath& path, QObject* receiver, const char* slot,
                           Qt::ConnectionType type) override {
        return m_changes.connect(path, SIGNAL(rowsChanged(QVariantList, CMPath)), receiver, slot,
                                 type);
    }
    bool disconnectRowsChange(const CMPath& path, QObject* receiver, const char* slot) override {
        return m_changes.disconnect(path, SIGNAL(rowsChanged(QVariantList, CMPath)), receiver,
                                    slot);
    }

    void addWorker(const QString& name, CMAbstractWorker* worker) override {
        m_workers.insert(name, worker);
    }
    void removeWorker(const QString& name, CMAbstractWorker* worker) override {
        if (m_workers.value(name) == worker)
            m_workers.remove(name);
    }
    CMChangeNotifier* changeNotifier() override { return &m_changes; }

private:
    QHash<CMPath, QVariantHash> m_nodes;
    QHash<QString, CMAbstractWorker*> m_workers;
    CMChangeNotifier m_changes;
};

CMAbstractWorker* loadWorker(const char* fileName) {
    // Never unloaded: GLib and Qt keep the types that the plug-in registers.
    void* library = dlopen(fileName, RTLD_NOW | RTLD_NODELETE);
    void* entry = library ? dlsym(library, "worker_create") : nullptr;
    if (!entry) {
        std::fprintf(stderr, "minimalplatform: %s\n", dlerror());
        return nullptr;
    }
    return reinterpret_cast<CMAbstractWorker* (*)(void*, const QVariantHash&)>(entry)(nullptr, {});
}

gboolean quit(gpointer) {
    QCoreApplication::quit();
    return G_SOURCE_CONTINUE;
}

} // namespace

int main(int argc, char** argv) {
    // Qt's loop is GLib's, in which the web server lives, as long as QT_NO_GLIB is not set.
    const QCoreApplication application(argc, argv);
    if (argc != 4) {
        std::fprintf(stderr, "usage: minimalplatform PLUGIN DOCUMENT_ROOT PORT\n");
        return 2;
    }
    log4cplus::BasicConfigurator::doConfigure(log4cplus::Logger::getDefaultHierarchy(), true);
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::WARN_LOG_LEVEL);
    // A client that leaves in the middle of an answer must not end the host.
    std::signal(SIGPIPE, SIG_IGN);
    g_unix_signal_add(SIGTERM, quit, nullptr);

    const QTemporaryDir readArea;
    plixSetPlatformPaths(readArea.path() + QLatin1Char('/'), readArea.filePath("updater-pipe"));
    Platform platform;
    platform.addSetting(PlixWebserverDocumentRootPath(), QString::fromLocal8Bit(argv[2]));
    platform.addSetting(PlixWebserverPortPath(), QByteArray(argv[3]).toInt());
    platform.addNode(CMPath::fromEncoded(QStringLiteral("lamp:brightness")), 40,
                     {{PlixRoles::Title(), QStringLiteral("Brightness")}});

    const std::unique_ptr<CMAbstractWorker> webserver(loadWorker(argv[1]));
    if (!webserver)
        return 2;
    std::printf("ready http=%d\n", webserver->property("httpPort").toInt());
    std::fflush(stdout);
    return QCoreApplication::exec();
}
