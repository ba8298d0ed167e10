// SPDX-License-Identifier: MIT
#include "core/dbglog.h"

const log4cplus::Logger webserverLogger = log4cplus::Logger::getInstance("Webserver");
