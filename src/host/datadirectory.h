// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

// The folder of the device's data (the web pages): in the installed tree if the program runs from
// there, otherwise in the source tree.
QString dataDirectory();
