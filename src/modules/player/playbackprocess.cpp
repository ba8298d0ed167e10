// SPDX-License-Identifier: MIT
#include "playbackprocess.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"
#include "core/plixjson.h"

namespace {

constexpr int pingMs = 2000;
constexpr int endMs = 1000;

} // namespace

PlaybackProcess::PlaybackProcess(const QString& program, const QStringList& arguments,
                                 const QProcessEnvironment& environment)
    : m_program(program), m_arguments(arguments) {
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    plixConnect(&m_process, &QProcess::readyReadStandardOutput, this,
                &PlaybackProcess::on_process_readyRead);
    // Queued, because a failed start is told within start().
    plixConnect(&m_process, &QProcess::errorOccurred, this,
                &PlaybackProcess::on_process_errorOccurred, Qt::QueuedConnection);
    plixConnect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
                &PlaybackProcess::on_process_finished);
    m_ping.setInterval(pingMs);
    plixConnect(&m_ping, &QTimer::timeout, this, &PlaybackProcess::on_ping_timeout);
}

PlaybackProcess::~PlaybackProcess() {
    m_process.disconnect(this);
    m_process.closeWriteChannel();
    if (!isRunning() || m_process.waitForFinished(endMs))
        return;
    m_process.kill();
    m_process.waitForFinished(endMs);
}

void PlaybackProcess::start() {
    if (isRunning())
        return;
    m_isReady = false;
    m_lostReason.clear();
    m_silence.start();
    m_process.start(m_program, m_arguments);
}

void PlaybackProcess::send(const QVariantHash& command) {
    if (isRunning())
        m_process.write(PlixJson::serialize(command) + '\n');
}

void PlaybackProcess::setWatched(bool isWatched) {
    if (isWatched == m_ping.isActive())
        return;
    m_silence.start();
    if (isWatched)
        m_ping.start();
    else
        m_ping.stop();
}

void PlaybackProcess::on_process_readyRead() {
    while (m_process.canReadLine()) {
        m_silence.start();
        PlixError error;
        const QVariantHash report = PlixJson::parse(m_process.readLine(), error).toHash();
        dbglog_trace("Playback: " << report);
        if (report.value(QStringLiteral("is")) == QLatin1String("ready"))
            m_isReady = true;
        Q_EMIT received(report);
    }
}

void PlaybackProcess::on_ping_timeout() {
    if (!isRunning())
        return;
    if (m_silence.elapsed() < (m_isReady ? silenceMs : startMs))
        return send({{QStringLiteral("do"), QStringLiteral("ping")}});
    m_lostReason = QStringLiteral("The playback program did not answer any more");
    m_process.kill();
}

void PlaybackProcess::on_process_errorOccurred(QProcess::ProcessError error) {
    if (error != QProcess::FailedToStart)
        return;
    dbglog_warning(m_program << ": " << m_process.errorString());
    Q_EMIT lost(QStringLiteral("The playback program could not be started. Is it installed?"));
}

void PlaybackProcess::on_process_finished(int code, QProcess::ExitStatus status) {
    if (m_lostReason.isEmpty())
        m_lostReason = status == QProcess::CrashExit
                           ? QStringLiteral("The playback program crashed")
                           : QStringLiteral("The playback program ended by itself");
    dbglog_warning(m_program << ": " << m_lostReason << ", code " << code);
    Q_EMIT lost(m_lostReason);
}
