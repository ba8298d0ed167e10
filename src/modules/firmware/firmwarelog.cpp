// SPDX-License-Identifier: MIT
#include "core/dbglog.h"

const log4cplus::Logger firmwareLogger = log4cplus::Logger::getInstance("Firmware");
