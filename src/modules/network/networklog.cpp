// SPDX-License-Identifier: MIT
#include "core/dbglog.h"

const log4cplus::Logger networkLogger = log4cplus::Logger::getInstance("Network");
