// SPDX-License-Identifier: MIT
#include "core/dbglog.h"

const log4cplus::Logger mediaLogger = log4cplus::Logger::getInstance("Media");
