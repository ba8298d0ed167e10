// SPDX-License-Identifier: MIT
#pragma once

#include "plixexport.h"

#include <QDebug>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <log4cplus/logger.h>

#include <ostream>
#include <sstream>
#include <string>

// Logging of every library and worker. A module is compiled with DBGLOG_LOGGER set to the name of
// its logger object, which one of its source files defines:
//
//     const log4cplus::Logger webserverLogger = log4cplus::Logger::getInstance("Webserver");
//
// A statement whose level is off only checks the level; its text is not built.

extern const log4cplus::Logger DBGLOG_LOGGER;

inline std::ostream& operator<<(std::ostream& stream, const QByteArray& bytes) {
    return stream.write(bytes.constData(), bytes.size());
}

inline std::ostream& operator<<(std::ostream& stream, const QString& text) {
    return stream << text.toUtf8();
}

// Qt types with a QDebug operator (lists, hashes, variants) are logged with it.
template <typename T>
auto operator<<(std::ostream& stream, const T& value)
    -> std::enable_if_t<std::is_base_of_v<QVariant, T> || std::is_base_of_v<QVariantHash, T> ||
                            std::is_base_of_v<QVariantList, T> ||
                            std::is_base_of_v<QStringList, T> ||
                            std::is_base_of_v<QSet<QString>, T>,
                        std::ostream&> {
    QString text;
    QDebug(&text).nospace() << value;
    return stream << text;
}

// NOLINTBEGIN(bugprone-macro-parentheses): a message is operands joined by <<
#define dbglog_at(level, message)                                                                  \
    do {                                                                                           \
        if (DBGLOG_LOGGER.isEnabledFor(log4cplus::level)) {                                        \
            std::ostringstream dbglog_stream;                                                      \
            dbglog_stream << message;                                                              \
            DBGLOG_LOGGER.forcedLog(log4cplus::level, dbglog::oneLine(dbglog_stream.str()),        \
                                    __FILE__, __LINE__, __func__);                                 \
        }                                                                                          \
    } while (false)
// NOLINTEND(bugprone-macro-parentheses)

#define dbglog_trace(message) dbglog_at(TRACE_LOG_LEVEL, message)
#define dbglog_debug(message) dbglog_at(DEBUG_LOG_LEVEL, message)
#define dbglog_info(message) dbglog_at(INFO_LOG_LEVEL, message)
#define dbglog_warning(message) dbglog_at(WARN_LOG_LEVEL, message)
#define dbglog_error(message) dbglog_at(ERROR_LOG_LEVEL, message)
#define dbglog_fatal(message) dbglog_at(FATAL_LOG_LEVEL, message)

namespace dbglog {

// The text with its control characters escaped, which prevents log injection: text of a client must
// not begin a new line of the log.
PLIX_EXPORT std::string oneLine(const std::string& text);

// Logs "Enter" when a function begins and "Leave" when it is left, at trace level.
class ScopedFunction {
public:
    ScopedFunction(const log4cplus::Logger& logger, const char* function)
        : m_logger(logger.isEnabledFor(log4cplus::TRACE_LOG_LEVEL) ? &logger : nullptr),
          m_function(function) {
        log("Enter ");
    }
    ~ScopedFunction() { log("Leave "); }
    ScopedFunction(const ScopedFunction&) = delete;
    ScopedFunction& operator=(const ScopedFunction&) = delete;

private:
    void log(const char* what) const {
        if (m_logger)
            m_logger->forcedLog(log4cplus::TRACE_LOG_LEVEL, std::string(what) + m_function);
    }

    const log4cplus::Logger* m_logger;
    const char* m_function;
};

} // namespace dbglog

#define dbglog_scopedFunction                                                                      \
    const dbglog::ScopedFunction dbglog_scope(DBGLOG_LOGGER, __PRETTY_FUNCTION__)
