// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmpath.h"
#include "plixexport.h"

// The paths of the device's configuration in the data model.
PLIX_EXPORT CMPath PlixWebserverDocumentRootPath();
PLIX_EXPORT CMPath PlixWebserverDefaultLocationPath();
PLIX_EXPORT CMPath PlixWebserverStrictPath();
// A list of texts such as "https://app.example": the origins whose pages may use the API.
PLIX_EXPORT CMPath PlixWebserverAllowedOriginsPath();
PLIX_EXPORT CMPath PlixWebserverPortPath();
PLIX_EXPORT CMPath PlixWebserverMetricsPath();
PLIX_EXPORT CMPath PlixWebserverMetricsClientsPath();
PLIX_EXPORT CMPath PlixWebserverAccessLogPath();
// One of the limits on clients, by its name; see docs/security.md.
PLIX_EXPORT CMPath PlixWebserverLimitPath(const QString& name);
PLIX_EXPORT CMPath PlixWebserverHttpsCertPath();
PLIX_EXPORT CMPath PlixWebserverHttpsPrivateKeyPath();
PLIX_EXPORT CMPath PlixWebserverHttpsUseDeviceCertPath();
PLIX_EXPORT CMPath PlixWebserverHttpsPortPath();
PLIX_EXPORT CMPath PlixUILanguagePath();
PLIX_EXPORT CMPath PlixNetworkInfoPath();

// The prefix of the names of files in the readable area, a regular expression that ends with a
// slash.
PLIX_EXPORT QString PlixWebserverReadPathPrefix();

// The path of the FIFO from which the firmware updater reads images.
PLIX_EXPORT QString PlixFirmwareUpdateDataPipe();
