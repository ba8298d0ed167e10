// SPDX-License-Identifier: MIT
#include "firmwareworker.h"

// Called by the host, which owns the worker. The first argument is the host's own.
extern "C" Q_DECL_EXPORT CMAbstractWorker* worker_create(void*, const QVariantHash& config) {
    return new FirmwareWorker(config);
}
