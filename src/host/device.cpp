// SPDX-License-Identifier: MIT
#include "device.h"

#include "core/dbglog.h"
#include "core/model/cmnodesworker.h"
#include "core/plixconnect.h"
#include "devicedescription.h"
#include "hostworker.h"
#include "workerplugin.h"

#include <QMetaObject>
#include <QTimer>
#include <QVariantHash>

#include <algorithm>

namespace {

// Only the ready line depends on it, which a person or a script reads.
constexpr int startingPollMs = 10;

// The configuration of a worker: its own members, and those of all workers.
QVariantHash workerConfig(const DeviceDescription& description, QVariantHash config,
                          const QString& stateDirectory) {
    config.insert(QStringLiteral("nodes"), description.nodes());
    config.insert(QStringLiteral("stateDir"), stateDirectory);
    config.insert(QStringLiteral("overrides"), description.overriddenPaths());
    return config;
}

} // namespace

Device::Device() = default;

Device::~Device() {
    while (!m_workers.empty())
        m_workers.pop_back();
}

bool Device::start(const DeviceDescription& description, const QString& stateDirectory,
                   QString* error) {
    makePlainWorkers(description);
    makeHostWorker(description);
    for (const DeviceDescription::Worker& entry : description.workers()) {
        dbglog_debug("Loading " << entry.library);
        CMAbstractWorker* worker = WorkerPlugin::create(
            entry.library, workerConfig(description, entry.config, stateDirectory), error);
        if (!worker)
            return false;
        m_workers.emplace_back(worker);
    }
    dropReplacedWorkers();
    // Queued twice: after the events that the workers queued in their constructors, and after the
    // events that these queue.
    QMetaObject::invokeMethod(
        this,
        [this] {
            QMetaObject::invokeMethod(this, &Device::on_workers_settled, Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
    return true;
}

// Makes plain workers for all nodes, whether or not a plug-in provides their worker. A plug-in's
// worker of the same name replaces the plain one in the root.
void Device::makePlainWorkers(const DeviceDescription& description) {
    const QVariantHash config{{QStringLiteral("nodes"), description.nodes()}};
    const QStringList names = description.nodeWorkers();
    for (const QString& name : names)
        m_workers.push_back(std::make_unique<CMNodesWorker>(config, name));
}

void Device::makeHostWorker(const DeviceDescription& description) {
    auto worker =
        std::make_unique<HostWorker>(QVariantHash{{QStringLiteral("nodes"), description.nodes()}});
    plixConnect(worker.get(), &HostWorker::restartRequested, this, &Device::restartRequested);
    m_workers.push_back(std::move(worker));
}

void Device::dropReplacedWorkers() {
    const auto isReplaced = [this](const std::unique_ptr<CMAbstractWorker>& worker) {
        const auto* nodes = qobject_cast<const CMNodesWorker*>(worker.get());
        return nodes && m_root.worker(nodes->name()) != nodes;
    };
    m_workers.erase(std::remove_if(m_workers.begin(), m_workers.end(), isReplaced),
                    m_workers.end());
}

void Device::on_workers_settled() {
    if (isWorkerStarting()) {
        QTimer::singleShot(startingPollMs, this, &Device::on_workers_settled);
        return;
    }
    Q_EMIT ready(listeningPort("httpPort"), listeningPort("httpsPort"));
}

bool Device::isWorkerStarting() const {
    return std::any_of(m_workers.begin(), m_workers.end(),
                       [](const auto& worker) { return worker->property("starting").toBool(); });
}

int Device::listeningPort(const char* property) const {
    for (const auto& worker : m_workers) {
        const int port = worker->property(property).toInt();
        if (port > 0)
            return port;
    }
    return 0;
}
