// SPDX-License-Identifier: MIT
#include "core/dbglog.h"

// What is measured does not log; the headers ask for a logger all the same.
const log4cplus::Logger benchLogger = log4cplus::Logger::getInstance("Bench");
