// SPDX-License-Identifier: MIT
#include "settingsworker.h"

extern "C" Q_DECL_EXPORT CMAbstractWorker* worker_create(void*, const QVariantHash& config) {
    return new SettingsWorker(config);
}
