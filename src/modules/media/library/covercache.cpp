// SPDX-License-Identifier: MIT
#include "covercache.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTimer>

namespace {

constexpr int sizes[] = {64, 128, 256, CoverCache::maximumSize};
// Old covers are removed together, because looking for them reads the folder.
constexpr qint64 bytesAfterTrim = CoverCache::maximumBytes / 4 * 3;
const char unfinished[] = ".new";

} // namespace

CoverCache::CoverCache(const QString& folder, const QString& program, QObject* parent)
    : QObject(parent), m_folder(folder), m_program(program) {}

CoverCache::~CoverCache() = default;

int CoverCache::sizeFor(int wanted) {
    if (wanted <= 0)
        return 0;
    for (const int size : sizes) {
        if (wanted <= size)
            return size;
    }
    return maximumSize;
}

void CoverCache::get(const QByteArray& hash, int size, const QByteArray& source, const Done& done) {
    const QString fileName = m_folder + '/' + QString::fromLatin1(hash) +
                             (size > 0 ? QStringLiteral("-%1.jpg").arg(size) : QString());
    if (m_failed.contains(fileName))
        return done({});
    if (QFileInfo(fileName).size() > 0)
        return done(fileName);
    const bool isNew = !m_waiting.contains(fileName);
    m_waiting[fileName].append(done);
    if (!isNew)
        return;
    m_jobs.enqueue({fileName, source, size});
    startNext();
}

void CoverCache::startNext() {
    while (m_running < maximumProcesses && !m_jobs.isEmpty())
        start(m_jobs.dequeue());
}

void CoverCache::start(const Job& job) {
    QDir().mkpath(m_folder);
    ++m_running;
    auto* process = new QProcess(this);
    process->setStandardErrorFile(QProcess::nullDevice());
    process->setStandardOutputFile(job.fileName + QLatin1String(unfinished));
    const QString fileName = job.fileName;
    connect(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            [this, process, fileName](int status, QProcess::ExitStatus exit) {
                on_process_ended(process, fileName, exit == QProcess::NormalExit && status == 0);
            });
    connect(process, &QProcess::errorOccurred, this,
            [this, process, fileName](QProcess::ProcessError error) {
                if (error == QProcess::FailedToStart)
                    on_process_ended(process, fileName, false);
            });
    QTimer::singleShot(deadlineMs, process, [process] { process->kill(); });
    dbglog_debug("Making a cover of " << job.source);
    process->start(m_program, {QStringLiteral("--cover"), QString::number(job.size)});
    // An argument would have to be text.
    process->write(job.source + '\0');
    process->closeWriteChannel();
}

void CoverCache::on_process_ended(QProcess* process, const QString& fileName, bool isGood) {
    process->deleteLater();
    --m_running;
    const QString made = fileName + QLatin1String(unfinished);
    const bool isMade = isGood && QFile::rename(made, fileName);
    if (isMade) {
        m_bytes += m_bytes < 0 ? 0 : QFileInfo(fileName).size();
    } else {
        dbglog_info("No cover " << fileName);
        QFile::remove(made);
        m_failed.insert(fileName);
    }
    trim();
    const QVector<Done> waiting = m_waiting.take(fileName);
    startNext();
    for (const Done& done : waiting)
        done(isMade ? fileName : QString());
}

void CoverCache::trim() {
    const bool isKnown = m_bytes >= 0;
    if (isKnown && m_bytes <= maximumBytes)
        return;
    // The oldest last.
    QFileInfoList files = QDir(m_folder).entryInfoList(QDir::Files, QDir::Time);
    m_bytes = 0;
    for (const QFileInfo& file : qAsConst(files))
        m_bytes += file.size();
    if (m_bytes <= maximumBytes)
        return;
    while (m_bytes > bytesAfterTrim && !files.isEmpty()) {
        m_bytes -= files.last().size();
        QFile::remove(files.takeLast().filePath());
    }
}
