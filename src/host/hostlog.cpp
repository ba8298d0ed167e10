// SPDX-License-Identifier: MIT
#include "hostlog.h"

#include "core/dbglog.h"
#include "journallayout.h"

#include <QFile>
#include <QFileInfo>
#include <log4cplus/configurator.h>
#include <log4cplus/consoleappender.h>
#include <log4cplus/layout.h>

#include <array>
#include <exception>
#include <iostream>
#include <sstream>
#include <unistd.h>
#include <utility>

const log4cplus::Logger hostLogger = log4cplus::Logger::getInstance("Host");

namespace {

constexpr std::array<std::pair<const char*, log4cplus::LogLevel>, 7> levels{{
    {"trace", log4cplus::TRACE_LOG_LEVEL},
    {"debug", log4cplus::DEBUG_LOG_LEVEL},
    {"info", log4cplus::INFO_LOG_LEVEL},
    {"warn", log4cplus::WARN_LOG_LEVEL},
    {"error", log4cplus::ERROR_LOG_LEVEL},
    {"fatal", log4cplus::FATAL_LOG_LEVEL},
    {"off", log4cplus::OFF_LOG_LEVEL},
}};

// Returns the errors that log4cplus finds, one in a line. log4cplus writes them to standard error
// and continues. For an unknown level it throws an exception.
QString configure(const std::string& fileName) {
    constexpr const char* prefix = "log4cplus:ERROR ";
    std::ostringstream complaints;
    std::streambuf* const standardError = std::cerr.rdbuf(complaints.rdbuf());
    try {
        log4cplus::PropertyConfigurator::doConfigure(fileName);
    } catch (const std::exception& fault) {
        complaints << fault.what();
    }
    std::cerr.rdbuf(standardError);
    return QString::fromLocal8Bit(complaints.str().c_str()).remove(QLatin1String(prefix));
}

} // namespace

QString HostLog::levelNames() {
    QStringList names;
    for (const auto& level : levels)
        names.append(QLatin1String(level.first));
    return names.join(QLatin1String(", "));
}

void HostLog::setUp() {
    // Appenders of other threads have one of their own; four are the library's default.
    log4cplus::setThreadPoolSize(1);
    constexpr bool toStandardError = true;
    constexpr bool flushEachLine = true;
    const log4cplus::SharedAppenderPtr appender(
        new log4cplus::ConsoleAppender(toStandardError, flushEachLine));
    if (JournalLayout::isJournal(STDERR_FILENO))
        appender->setLayout(std::make_unique<JournalLayout>());
    else
        appender->setLayout(
            std::make_unique<log4cplus::PatternLayout>("%D{%H:%M:%S.%q} %-5p %c: %m%n"));
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    root.addAppender(appender);
    root.setLogLevel(log4cplus::WARN_LOG_LEVEL);
}

bool HostLog::setUpFromFile(const QString& fileName, QString* error) {
    QFile file(fileName);
    if (QFileInfo(fileName).isDir() || !file.open(QIODevice::ReadOnly)) {
        *error = file.error() == QFileDevice::NoError ? QStringLiteral("Is a directory")
                                                      : file.errorString();
        return false;
    }
    log4cplus::Logger::getRoot().removeAllAppenders();
    const QString complaints = configure(fileName.toStdString());
    // Only the first one, because others may be its consequences.
    *error = complaints.section(QLatin1Char('\n'), 0, 0);
    return complaints.isEmpty();
}

bool HostLog::setLevel(const QString& name) {
    for (const auto& level : levels) {
        if (name == QLatin1String(level.first)) {
            log4cplus::Logger::getRoot().setLogLevel(level.second);
            return true;
        }
    }
    return false;
}
