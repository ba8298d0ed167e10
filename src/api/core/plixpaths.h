#pragma once

#include "core/model/cmpath.h"

// Where the device keeps its configuration in the data model.
CMPath PlixWebserverDocumentRootPath();
CMPath PlixWebserverDefaultLocationPath();
CMPath PlixWebserverStrictPath();
// A list of texts such as "https://app.example": the origins whose pages may use the API.
CMPath PlixWebserverAllowedOriginsPath();
CMPath PlixWebserverPortPath();
// One of the limits on what clients may take, by its name; see the web server's documentation.
CMPath PlixWebserverLimitPath(const QString& name);
CMPath PlixWebserverHttpsCertPath();
CMPath PlixWebserverHttpsPrivateKeyPath();
CMPath PlixWebserverHttpsUseDeviceCertPath();
CMPath PlixWebserverHttpsPortPath();
CMPath PlixUILanguagePath();
CMPath PlixNetworkInfoPath();

// The prefix that the names of files in the readable area begin with; it ends with a slash and is
// used as a regular expression.
QString PlixWebserverReadPathPrefix();

// The path of the FIFO from which the firmware updater reads images.
QString PlixFirmwareUpdateDataPipe();
