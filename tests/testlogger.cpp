// SPDX-License-Identifier: MIT
#include "core/dbglog.h"

#include <QtGlobal>
#include <log4cplus/consoleappender.h>
#include <log4cplus/loglevel.h>
#include <log4cplus/nullappender.h>

const log4cplus::Logger testLogger = log4cplus::Logger::getInstance("Test");

namespace {

// Test programs are quiet unless PLIX_TEST_LOG names a level ("DEBUG"), which then goes to
// standard error.
[[maybe_unused]] const bool loggingConfigured = [] {
    const QByteArray level = qgetenv("PLIX_TEST_LOG");
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    log4cplus::SharedAppenderPtr appender(new log4cplus::NullAppender);
    if (!level.isEmpty()) {
        appender = new log4cplus::ConsoleAppender(true, true);
        root.setLogLevel(log4cplus::getLogLevelManager().fromString(level.toStdString()));
    }
    root.addAppender(appender);
    return true;
}();

} // namespace
