// SPDX-License-Identifier: MIT
#include "core/dbglog.h"

const log4cplus::Logger settingsLogger = log4cplus::Logger::getInstance("Settings");
