// SPDX-License-Identifier: MIT
#include "libraryindexer.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"
#include "filenames.h"

#include <QDateTime>
#include <QElapsedTimer>

#include <algorithm>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>

namespace {

// Changes come in groups, such as those of an album that is copied.
constexpr int changesDelayMs = 300;
constexpr int unsettledCheckMs = 500;
// What is lost when the device is switched off in the middle of a scan.
constexpr int saveDelayMs = 1000;
// A new catalogue of a large library takes some time; most of the time is for reading.
constexpr int publishShare = 10;
// How soon a share that was mounted is noticed.
constexpr int awayCheckMs = 10000;
// For folders that the system does not watch.
constexpr int unwatchedCheckMs = 5 * 60 * 1000;
constexpr int numbersMs = 250;

bool hasEntries(const QByteArray& folder) {
    DIR* const stream = opendir(folder.constData());
    if (!stream)
        return false;
    const dirent* entry = readdir(stream);
    while (entry && entry->d_name[0] == '.')
        entry = readdir(stream);
    closedir(stream);
    return entry;
}

} // namespace

LibraryIndexer::LibraryIndexer(const Options& options) : m_options(options) {}

LibraryIndexer::~LibraryIndexer() {
    if (m_index)
        m_index->save();
}

void LibraryIndexer::begin() {
    m_index = std::make_unique<LibraryIndex>(m_options.databasePath);
    if (!m_index->open())
        return tell(LibraryProgress::State::Broken);
    startReaders();
    startTimers();
    if (m_index->source().folder != m_options.folder)
        m_index->setSource({m_options.folder});
    publish();
    scan();
}

void LibraryIndexer::startReaders() {
    m_watcher = std::make_unique<FolderWatcher>();
    m_watcher->setRoot(m_options.folder);
    plixConnect(m_watcher.get(), SIGNAL(folderChanged(QByteArray)), this,
                SLOT(on_watcher_folderChanged(QByteArray)));
    plixConnect(m_watcher.get(), SIGNAL(changesLost()), this, SLOT(scan()));
    for (int i = 0; i < maximumProcesses; ++i)
        startProcess();
}

// The program is started with the first file.
void LibraryIndexer::startProcess() {
    m_processes.push_back(
        std::make_unique<ScanProcess>(m_options.scanProgram, m_options.deadlineMs));
    ScanProcess* const process = m_processes.back().get();
    plixConnect(process, SIGNAL(answered(QByteArray, QVariantHash)), this,
                SLOT(on_process_answered(QByteArray, QVariantHash)));
    plixConnect(process, SIGNAL(died(QByteArray, QString)), this,
                SLOT(on_process_died(QByteArray, QString)));
    plixConnect(process, SIGNAL(broken(QString)), this, SLOT(on_process_broken(QString)));
}

void LibraryIndexer::startTimers() {
    for (QTimer* timer : {&m_changes, &m_unsettledCheck, &m_save, &m_rescan}) {
        timer->setSingleShot(true);
    }
    m_changes.setInterval(changesDelayMs);
    m_unsettledCheck.setInterval(unsettledCheckMs);
    m_save.setInterval(saveDelayMs);
    m_numbers.setInterval(numbersMs);
    plixConnect(&m_changes, &QTimer::timeout, this, &LibraryIndexer::on_changes_timeout);
    plixConnect(&m_unsettledCheck, &QTimer::timeout, this, &LibraryIndexer::on_unsettled_timeout);
    plixConnect(&m_save, &QTimer::timeout, this, &LibraryIndexer::on_save_timeout);
    plixConnect(&m_rescan, SIGNAL(timeout()), this, SLOT(scan()));
    plixConnect(&m_numbers, &QTimer::timeout, this, &LibraryIndexer::tellNumbers);
}

void LibraryIndexer::scan() {
    // Without a store nothing has begun.
    if (!m_watcher)
        return tell(LibraryProgress::State::Broken);
    m_isIncomplete = true;
    m_changedFolders.clear();
    m_changes.stop();
    m_isPartlyWatched = false;
    scan({QByteArray()});
}

void LibraryIndexer::cancel() {
    m_isStopped = false;
    if (m_processes.empty())
        return;
    for (const auto& process : m_processes)
        process->cancel();
    m_reading.clear();
    m_unsettled.clear();
    rest();
}

// An empty folder that is not the one that it was is the place of a share that is not mounted.
bool LibraryIndexer::isAway(MediaStore::Source* source) const {
    struct stat status {};
    if (stat(m_options.folder.constData(), &status) != 0 || !S_ISDIR(status.st_mode))
        return true;
    const MediaStore::Source former = m_index->source();
    *source = {m_options.folder, quint64(status.st_dev), quint64(status.st_ino)};
    const bool isSame = former.device == source->device && former.inode == source->inode;
    return !isSame && !m_index->isEmpty() && !hasEntries(m_options.folder);
}

void LibraryIndexer::beAway() {
    if (m_progress.state != LibraryProgress::State::Away)
        dbglog_warning("The folder " << m_options.folder << " is away");
    m_watcher->setRoot(m_options.folder);
    tell(LibraryProgress::State::Away);
    m_rescan.start(awayCheckMs);
}

void LibraryIndexer::scan(const QSet<QByteArray>& folders) {
    MediaStore::Source source;
    if (isAway(&source))
        return beAway();
    tell(LibraryProgress::State::Scanning);
    const bool isAll = folders.contains(QByteArray()) && m_isIncomplete;
    FolderWalk walk(m_options.folder,
                    [this](const QByteArray& folder, int found) { return visit(folder, found); });
    // Folders that are not watched yet are new.
    const auto isWanted = [&](const QByteArray& folder) {
        return isAll || m_isPartlyWatched || !m_watcher->isWatched(folder);
    };
    for (const QByteArray& folder : folders)
        walk.read(folder, isWanted);
    if (walk.isEnded())
        return;
    // It may have gone meanwhile.
    if (isAway(&source))
        return beAway();
    m_index->setSource(source);
    takeOver(walk.content());
    if (isAll)
        m_isIncomplete = false;
    if (m_isPartlyWatched)
        m_rescan.start(unwatchedCheckMs);
    if (m_reading.isEmpty())
        rest();
}

bool LibraryIndexer::visit(const QByteArray& folder, int found) {
    if (found > m_progress.found && m_told.hasExpired(numbersMs)) {
        m_progress.found = found;
        m_told.start();
        Q_EMIT progressChanged(m_progress);
    }
    if (!m_watcher->watch(folder) && !m_isPartlyWatched) {
        dbglog_warning("The system does not watch all folders of " << m_options.folder
                                                                   << "; see max_user_watches");
        m_isPartlyWatched = true;
    }
    return !m_isStopped;
}

void LibraryIndexer::takeOver(const FolderContent& content) {
    if (m_index->takeOver(content))
        changed();
    for (auto entry = content.audio.cbegin(); entry != content.audio.cend(); ++entry)
        readOrWait(entry.key(), *entry);
    tellNumbers();
}

void LibraryIndexer::readOrWait(const QByteArray& path, const FolderContent::File& file) {
    if (m_index->isCurrent(path, file))
        return;
    // What is being read at the moment is looked at again afterwards.
    const qint64 ageMs = QDateTime::currentMSecsSinceEpoch() - file.modifiedNs / 1000000;
    // A time in the future tells nothing.
    if ((ageMs >= 0 && ageMs < m_options.settleMs) || m_reading.contains(path)) {
        m_unsettled.insert(path);
        if (!m_unsettledCheck.isActive())
            m_unsettledCheck.start();
        return;
    }
    m_reading.insert(path, file);
    const auto idlest = std::min_element(
        m_processes.begin(), m_processes.end(),
        [](const auto& left, const auto& right) { return left->pending() < right->pending(); });
    (*idlest)->read(m_options.folder + '/' + path);
}

void LibraryIndexer::on_watcher_folderChanged(const QByteArray& folder) {
    m_changedFolders.insert(folder);
    if (!m_changes.isActive())
        m_changes.start();
}

void LibraryIndexer::on_changes_timeout() {
    const QSet<QByteArray> folders = m_changedFolders;
    m_changedFolders.clear();
    scan(folders);
}

void LibraryIndexer::on_unsettled_timeout() {
    const QSet<QByteArray> paths = m_unsettled;
    m_unsettled.clear();
    for (const QByteArray& path : paths) {
        struct stat status {};
        if (stat((m_options.folder + '/' + path).constData(), &status) != 0)
            continue;
        readOrWait(path, {qint64(status.st_size),
                          qint64(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec});
    }
    tellNumbers();
}

LibraryTrack LibraryIndexer::taken(const QByteArray& fileName) {
    LibraryTrack track;
    track.path = fileName.mid(m_options.folder.size() + 1);
    const FolderContent::File file = m_reading.take(track.path);
    track.size = file.size;
    track.modifiedNs = file.modifiedNs;
    return track;
}

void LibraryIndexer::on_process_answered(const QByteArray& fileName, const QVariantHash& record) {
    LibraryTrack track = taken(fileName);
    track.setTags(record);
    if (track.state != LibraryTrack::State::Read)
        dbglog_info("Cannot read " << fileName << ": "
                                   << record.value(QStringLiteral("failed")).toString());
    m_index->add(std::move(track));
    changed();
    if (m_reading.isEmpty())
        rest();
}

void LibraryIndexer::on_process_died(const QByteArray& fileName, const QString& reason) {
    dbglog_warning("Skipping " << fileName << ": " << reason);
    LibraryTrack track = taken(fileName);
    track.state = LibraryTrack::State::Skipped;
    m_index->add(std::move(track));
    changed();
    if (m_reading.isEmpty())
        rest();
}

void LibraryIndexer::on_process_broken(const QString& reason) {
    dbglog_error("Cannot read files with " << m_options.scanProgram << ": " << reason);
    for (const auto& process : m_processes)
        process->cancel();
    m_reading.clear();
    tell(LibraryProgress::State::Broken);
}

void LibraryIndexer::changed() {
    if (!m_save.isActive())
        m_save.start();
}

void LibraryIndexer::on_save_timeout() {
    QElapsedTimer time;
    time.start();
    m_index->save();
    publish();
    m_save.setInterval(std::max(saveDelayMs, int(time.elapsed()) * publishShare));
}

void LibraryIndexer::publish() {
    Q_EMIT catalogueChanged(std::make_shared<const MediaCatalogue>(m_index->content()));
}

// Nothing is to be read at the moment.
void LibraryIndexer::rest() {
    if (m_save.isActive()) {
        m_save.stop();
        on_save_timeout();
    }
    tell(m_isIncomplete ? LibraryProgress::State::Cancelled : LibraryProgress::State::Idle);
}

void LibraryIndexer::tell(LibraryProgress::State state) {
    m_progress.state = state;
    if (state == LibraryProgress::State::Scanning)
        m_numbers.start();
    else
        m_numbers.stop();
    tellNumbers();
}

void LibraryIndexer::tellNumbers() {
    const LibraryIndex::Counts counts = m_index->counts();
    m_progress.read = counts.read;
    m_progress.failed = counts.failed;
    // A file that has changed is both, known and to be read.
    m_progress.found = counts.read + counts.failed + m_reading.size() + m_unsettled.size();
    m_told.start();
    Q_EMIT progressChanged(m_progress);
}
