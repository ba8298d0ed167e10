#include "core/dbglog.h"

const log4cplus::Logger plixApiLogger = log4cplus::Logger::getInstance("Api");
