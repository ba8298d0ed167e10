#pragma once

#include <QString>

// What a host program installs into the platform library before it loads workers. Workers never
// include this file.

class CMAbstractWorker;
class CMChangeNotifier;

// The host's registry of workers: a worker with nodes enters itself under its name. Entering a
// name again replaces the earlier worker.
class CMWorkerRegistry {
public:
    virtual ~CMWorkerRegistry() = default;
    virtual void addWorker(const QString& name, CMAbstractWorker* worker) = 0;
    // Removes the worker if it is still the one of that name.
    virtual void removeWorker(const QString& name, CMAbstractWorker* worker) = 0;
    // Where workers announce the changes of their nodes; never null.
    virtual CMChangeNotifier* changeNotifier() = 0;
};

// Makes `root` what CMRoot() returns and `registry` what workers enter themselves in; neither is
// owned. Null takes them away again.
void plixInstallRoot(CMAbstractWorker* root, CMWorkerRegistry* registry);
// Null when none is installed.
CMWorkerRegistry* plixWorkerRegistry();

// Sets what PlixWebserverReadPathPrefix() and PlixFirmwareUpdateDataPipe() return.
void plixSetPlatformPaths(const QString& readPathPrefix, const QString& firmwareUpdateDataPipe);
