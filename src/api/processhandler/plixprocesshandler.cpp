#include "processhandler/plixprocesshandler.h"

#include "core/dbglog.h"

#include <QDeadlineTimer>
#include <QProcess>

const log4cplus::Logger plixProcessHandlerLogger = log4cplus::Logger::getInstance("ProcessHandler");

namespace {

// How long a killed program may take to disappear. One that hangs in the kernel must not hold up
// the event loop any longer.
constexpr int killTimeoutMs = 1000;

QString output(QProcess& process) {
    const QByteArray bytes = process.readAllStandardOutput() + process.readAllStandardError();
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

int remainingMs(const QDeadlineTimer& deadline) {
    return static_cast<int>(deadline.remainingTime());
}

} // namespace

PlixProcessHandlerResult
PlixProcessHandler::startSync(const QString& program, const QStringList& arguments, int timeoutMs) {
    dbglog_scopedFunction;
    const QDeadlineTimer deadline(timeoutMs);
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments, QIODevice::ReadOnly);
    if (!process.waitForStarted(remainingMs(deadline)) &&
        process.error() == QProcess::FailedToStart)
        return {false,
                QStringLiteral("%1 could not be started: %2").arg(program, process.errorString())};
    const bool hasEnded = process.state() == QProcess::NotRunning ||
                          process.waitForFinished(remainingMs(deadline)) ||
                          process.state() == QProcess::NotRunning;
    if (!hasEnded) {
        process.kill();
        process.waitForFinished(killTimeoutMs);
        return {false, output(process) + QStringLiteral("%1 was ended after %2 ms without a result")
                                             .arg(program)
                                             .arg(timeoutMs)};
    }
    dbglog_debug("PlixProcessHandler: " << program << " ended with status " << process.exitCode());
    if (process.exitStatus() != QProcess::NormalExit)
        return {false, output(process) + QStringLiteral("%1 crashed").arg(program)};
    return {process.exitCode() == 0, output(process)};
}
