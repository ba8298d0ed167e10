// SPDX-License-Identifier: MIT
#include "processhandler/plixprocesshandler.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"

#include <QDeadlineTimer>
#include <QProcess>
#include <QTimer>

#include <csignal>
#include <cstring>
#include <utility>

const log4cplus::Logger plixProcessHandlerLogger = log4cplus::Logger::getInstance("ProcessHandler");

namespace {

// How long to wait for the end of a killed program. One that hangs in the kernel must not block the
// event loop longer.
constexpr int killTimeoutMs = 1000;

QString output(QProcess& process) {
    const QByteArray bytes = process.readAllStandardOutput() + process.readAllStandardError();
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

PlixProcessHandlerResult notStarted(const QProcess& process) {
    return {false, QStringLiteral("%1 could not be started: %2")
                       .arg(process.program(), process.errorString())};
}

PlixProcessHandlerResult timedOut(QProcess& process, int timeoutMs) {
    process.kill();
    process.waitForFinished(killTimeoutMs);
    return {false, output(process) + QStringLiteral("%1 was ended after %2 ms without a result")
                                         .arg(process.program())
                                         .arg(timeoutMs)};
}

PlixProcessHandlerResult ended(QProcess& process) {
    dbglog_debug("PlixProcessHandler: " << process.program() << " ended with status "
                                        << process.exitCode());
    if (process.exitStatus() != QProcess::NormalExit) {
        // Qt gives the signal as the exit code.
        const int signal = process.exitCode();
        // It overlooks when the system refuses to make a process, and gives what it finds in
        // memory.
        if (signal <= 0 || signal > SIGRTMAX)
            return {false, QStringLiteral("%1 could not be started: this system, or its emulator, "
                                          "lacks clone() with CLONE_PIDFD")
                               .arg(process.program())};
        return {false, output(process) + QStringLiteral("%1 was ended by signal %2 (%3)")
                                             .arg(process.program())
                                             .arg(signal)
                                             .arg(QString::fromLocal8Bit(strsignal(signal)))};
    }
    return {process.exitCode() == 0, output(process)};
}

void start(QProcess& process, const QString& program, const QStringList& arguments) {
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments, QIODevice::ReadOnly);
}

int remainingMs(const QDeadlineTimer& deadline) {
    return static_cast<int>(deadline.remainingTime());
}

// A program that runs while the event loop continues.
class Run : public QObject {
public:
    Run(QObject* context, PlixProcessHandler::Callback callback)
        : QObject(context), m_callback(std::move(callback)) {}
    ~Run() override {
        m_process.disconnect();
        m_process.kill();
        m_process.waitForFinished(killTimeoutMs);
    }

    void start(const QString& program, const QStringList& arguments, int timeoutMs) {
        m_timeout.setSingleShot(true);
        plixConnect(&m_timeout, &QTimer::timeout, this, [this, timeoutMs] {
            m_process.disconnect();
            report(timedOut(m_process, timeoutMs));
        });
        plixConnect(&m_process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
                    [this] { report(ended(m_process)); });
        plixConnect(&m_process, &QProcess::errorOccurred, this,
                    [this](QProcess::ProcessError error) {
                        // Every other error is followed by finished().
                        if (error == QProcess::FailedToStart)
                            report(notStarted(m_process));
                    });
        m_timeout.start(timeoutMs);
        ::start(m_process, program, arguments);
    }

private:
    void report(const PlixProcessHandlerResult& result) {
        m_process.disconnect();
        m_timeout.stop();
        deleteLater();
        if (const auto callback = std::exchange(m_callback, nullptr))
            callback(result);
    }

    PlixProcessHandler::Callback m_callback;
    QProcess m_process;
    QTimer m_timeout;
};

} // namespace

PlixProcessHandlerResult
PlixProcessHandler::startSync(const QString& program, const QStringList& arguments, int timeoutMs) {
    dbglog_scopedFunction;
    const QDeadlineTimer deadline(timeoutMs);
    QProcess process;
    ::start(process, program, arguments);
    if (!process.waitForStarted(remainingMs(deadline)) &&
        process.error() == QProcess::FailedToStart)
        return notStarted(process);
    const bool hasEnded = process.state() == QProcess::NotRunning ||
                          process.waitForFinished(remainingMs(deadline)) ||
                          process.state() == QProcess::NotRunning;
    return hasEnded ? ended(process) : timedOut(process, timeoutMs);
}

void PlixProcessHandler::start(const QString& program, const QStringList& arguments, int timeoutMs,
                               QObject* context, Callback callback) {
    dbglog_scopedFunction;
    auto* run = new Run(context, std::move(callback));
    run->start(program, arguments, timeoutMs);
}
