// SPDX-License-Identifier: MIT
#include "core/plixhost.h"

#include "core/model/cmroot.h"

namespace {

CMAbstractWorker* installedRoot = nullptr;
CMWorkerRegistry* installedRegistry = nullptr;

} // namespace

void plixInstallRoot(CMAbstractWorker* root, CMWorkerRegistry* registry) {
    installedRoot = root;
    installedRegistry = registry;
}

CMWorkerRegistry* plixWorkerRegistry() {
    return installedRegistry;
}

CMAbstractWorker* CMRoot() {
    return installedRoot;
}
