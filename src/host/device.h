// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmrootworker.h"

#include <QObject>
#include <QString>

#include <memory>
#include <vector>

class DeviceDescription;

// A running device: the root of the data model and its workers, which live as long as this object
// and are deleted in reverse order. One per process.
class Device : public QObject {
    Q_OBJECT

public:
    Device();
    ~Device() override;

    // Makes the workers. `stateDirectory` is absolute and exists. False with one sentence in
    // `error` when a plug-in cannot be loaded.
    bool start(const DeviceDescription& description, const QString& stateDirectory, QString* error);

Q_SIGNALS:
    // All workers have processed the events that they queued in their constructors, and none is
    // still starting. The arguments are the ports that are listened on, 0 for none.
    void ready(int httpPort, int httpsPort);
    // A client has asked for a restart of the device.
    void restartRequested();

private:
    void makeHostWorker(const DeviceDescription& description);
    void makePlainWorkers(const DeviceDescription& description);
    void dropReplacedWorkers();
    void on_workers_settled();
    bool isWorkerStarting() const;
    int listeningPort(const char* property) const;

    CMRootWorker m_root;
    std::vector<std::unique_ptr<CMAbstractWorker>> m_workers;
};
