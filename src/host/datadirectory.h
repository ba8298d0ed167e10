// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

// The folder of the device's data (the web pages), beside that of the program. In a build folder it
// leads to the source tree.
QString dataDirectory();
