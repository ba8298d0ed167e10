// SPDX-License-Identifier: MIT
#include "mediaworker.h"

extern "C" Q_DECL_EXPORT CMAbstractWorker* worker_create(void*, const QVariantHash& config) {
    return new MediaWorker(config);
}
