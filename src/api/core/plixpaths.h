// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmpath.h"

// The paths of the device's configuration in the data model.
CMPath PlixWebserverDocumentRootPath();
CMPath PlixWebserverDefaultLocationPath();
CMPath PlixWebserverStrictPath();
// A list of texts such as "https://app.example": the origins whose pages may use the API.
CMPath PlixWebserverAllowedOriginsPath();
CMPath PlixWebserverPortPath();
CMPath PlixWebserverMetricsPath();
CMPath PlixWebserverMetricsClientsPath();
CMPath PlixWebserverAccessLogPath();
// One of the limits on clients, by its name; see docs/security.md.
CMPath PlixWebserverLimitPath(const QString& name);
CMPath PlixWebserverHttpsCertPath();
CMPath PlixWebserverHttpsPrivateKeyPath();
CMPath PlixWebserverHttpsUseDeviceCertPath();
CMPath PlixWebserverHttpsPortPath();
CMPath PlixUILanguagePath();
CMPath PlixNetworkInfoPath();

// The prefix of the names of files in the readable area, a regular expression that ends with a
// slash.
QString PlixWebserverReadPathPrefix();

// The path of the FIFO from which the firmware updater reads images.
QString PlixFirmwareUpdateDataPipe();
