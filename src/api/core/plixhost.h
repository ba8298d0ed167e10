// SPDX-License-Identifier: MIT
#pragma once

#include "plixexport.h"

#include <QString>

// The functions with which a host program sets up the platform library before it loads workers.
// Workers do not include this file.

class CMAbstractWorker;
class CMChangeNotifier;

// The host's registry of workers, to which a worker with nodes adds itself under its name. A second
// worker of the same name replaces the first.
class PLIX_EXPORT CMWorkerRegistry {
public:
    virtual ~CMWorkerRegistry() = default;
    virtual void addWorker(const QString& name, CMAbstractWorker* worker) = 0;
    // Removes the worker unless another one has replaced it.
    virtual void removeWorker(const QString& name, CMAbstractWorker* worker) = 0;
    // Where workers announce the changes of their nodes; never null.
    virtual CMChangeNotifier* changeNotifier() = 0;
};

// Sets the result of CMRoot() and the registry of workers. Takes no ownership. Null removes them.
PLIX_EXPORT void plixInstallRoot(CMAbstractWorker* root, CMWorkerRegistry* registry);
// Null when none is installed.
PLIX_EXPORT CMWorkerRegistry* plixWorkerRegistry();

// Sets what PlixWebserverReadPathPrefix() and PlixFirmwareUpdateDataPipe() return.
PLIX_EXPORT void plixSetPlatformPaths(const QString& readPathPrefix,
                                      const QString& firmwareUpdateDataPipe);
