// SPDX-License-Identifier: MIT
#include "scanprocess.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"
#include "core/plixjson.h"

#include <QProcess>

namespace {

// The process reads further files while this side stores the last ones.
constexpr int maximumSent = 64;
// Several names go in one write.
constexpr int minimumSent = maximumSent / 2;
// Files come in groups, and a new process takes some milliseconds.
constexpr int idleMs = 5000;
// A process that is killed ends at once, unless it waits for a disk.
constexpr int endMs = 1000;

} // namespace

ScanProcess::ScanProcess(const QString& program, int deadlineMs, QObject* parent)
    : QObject(parent), m_program(program), m_deadline(this), m_idle(this) {
    m_deadline.setSingleShot(true);
    m_deadline.setInterval(deadlineMs);
    plixConnect(&m_deadline, &QTimer::timeout, this, &ScanProcess::on_deadline_timeout);
    m_idle.setSingleShot(true);
    m_idle.setInterval(idleMs);
    plixConnect(&m_idle, &QTimer::timeout, this, &ScanProcess::on_idle_timeout);
}

ScanProcess::~ScanProcess() {
    // Not later: the thread of this object may be at its end.
    if (m_process)
        endProcess();
}

void ScanProcess::read(const QByteArray& fileName) {
    m_waiting.enqueue(fileName);
    send();
}

void ScanProcess::cancel() {
    m_waiting.clear();
    m_sent.clear();
    end();
}

void ScanProcess::send() {
    m_idle.stop();
    if (!m_process)
        start();
    if (m_sent.size() > minimumSent)
        return;
    QByteArray names;
    while (m_process && m_sent.size() < maximumSent && !m_waiting.isEmpty()) {
        if (m_sent.isEmpty())
            m_deadline.start();
        m_sent.enqueue(m_waiting.dequeue());
        dbglog_debug("Reading " << m_sent.last());
        names += m_sent.last() + '\0';
    }
    if (!names.isEmpty())
        m_process->write(names);
}

void ScanProcess::start() {
    m_isReady = m_isLate = false;
    m_process = std::make_unique<QProcess>();
    m_process->setStandardErrorFile(QProcess::nullDevice());
    plixConnect(m_process.get(), SIGNAL(readyReadStandardOutput()), this,
                SLOT(on_process_readyReadStandardOutput()));
    plixConnect(m_process.get(), SIGNAL(finished(int, QProcess::ExitStatus)), this,
                SLOT(on_process_finished()));
    m_process->start(m_program, QStringList());
    // Starting takes no longer than the fork; waiting here makes a missing program one case less.
    if (!m_process->waitForStarted())
        giveUp(m_process->errorString());
}

void ScanProcess::on_process_readyReadStandardOutput() {
    while (m_process && m_process->canReadLine())
        take(m_process->readLine());
    if (!m_process)
        return;
    if (pending() > 0)
        send();
    else
        m_idle.start();
}

void ScanProcess::take(const QByteArray& line) {
    PlixError error;
    const QVariantHash record = PlixJson::parse(line.trimmed(), error).toHash();
    if (!m_isReady) {
        m_isReady = record.contains(QStringLiteral("ready"));
        return;
    }
    if (m_sent.isEmpty())
        return;
    const QByteArray fileName = m_sent.dequeue();
    m_deadline.stop();
    if (!m_sent.isEmpty())
        m_deadline.start();
    Q_EMIT answered(fileName, record);
}

void ScanProcess::on_deadline_timeout() {
    m_isLate = true;
    if (m_process)
        m_process->kill();
}

void ScanProcess::on_process_finished() {
    on_process_readyReadStandardOutput();
    if (!m_process)
        return;
    const bool wasReady = m_isReady;
    const QString reason =
        m_isLate ? QStringLiteral("it took too long") : QStringLiteral("the program crashed");
    end();
    if (!wasReady)
        return giveUp(QStringLiteral("it does not run"));
    if (m_sent.isEmpty())
        return;
    const QByteArray culprit = m_sent.dequeue();
    while (!m_sent.isEmpty())
        m_waiting.prepend(m_sent.takeLast());
    Q_EMIT died(culprit, reason);
    if (!m_waiting.isEmpty())
        send();
}

void ScanProcess::on_idle_timeout() {
    end();
}

void ScanProcess::end() {
    m_deadline.stop();
    m_idle.stop();
    if (!m_process)
        return;
    endProcess();
    // A signal of its own may be the reason.
    m_process.release()->deleteLater();
}

void ScanProcess::endProcess() {
    m_process->disconnect(this);
    m_process->kill();
    m_process->waitForFinished(endMs);
}

void ScanProcess::giveUp(const QString& reason) {
    cancel();
    Q_EMIT broken(reason);
}
