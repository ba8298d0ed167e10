// SPDX-License-Identifier: MIT
#include "core/dbglog.h"

const log4cplus::Logger httpClientLogger = log4cplus::Logger::getInstance("HttpClient");
