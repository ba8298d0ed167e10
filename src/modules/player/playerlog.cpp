// SPDX-License-Identifier: MIT
#include "core/dbglog.h"

const log4cplus::Logger playerLogger = log4cplus::Logger::getInstance("Player");
