// SPDX-License-Identifier: MIT
#include "journallayout.h"

#include <QByteArray>
#include <log4cplus/spi/loggingevent.h>

#include <ostream>
#include <sys/stat.h>
#include <syslog.h>

namespace {

int priority(log4cplus::LogLevel level) {
    if (level >= log4cplus::FATAL_LOG_LEVEL)
        return LOG_CRIT;
    if (level >= log4cplus::ERROR_LOG_LEVEL)
        return LOG_ERR;
    if (level >= log4cplus::WARN_LOG_LEVEL)
        return LOG_WARNING;
    return level >= log4cplus::INFO_LOG_LEVEL ? LOG_INFO : LOG_DEBUG;
}

} // namespace

JournalLayout::JournalLayout() : PatternLayout("%-5p %c: %m%n") {}

// The variable alone is not enough: programs inherit it even if their output has been redirected.
bool JournalLayout::isJournal(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0)
        return false;
    const QByteArray stream = QByteArray::number(qulonglong(status.st_dev)) + ':' +
                              QByteArray::number(qulonglong(status.st_ino));
    return qgetenv("JOURNAL_STREAM") == stream;
}

void JournalLayout::formatAndAppend(log4cplus::tostream& output,
                                    const log4cplus::spi::InternalLoggingEvent& event) {
    output << '<' << priority(event.getLogLevel()) << '>';
    PatternLayout::formatAndAppend(output, event);
}
