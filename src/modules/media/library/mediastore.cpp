// SPDX-License-Identifier: MIT
#include "mediastore.h"

#include "core/dbglog.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QSqlError>

namespace {

// Grows with every change of the tables.
constexpr int schemaVersion = 1;

const char* const schema[] = {
    "CREATE TABLE source (folder BLOB, device INTEGER, inode INTEGER)",
    "CREATE TABLE tracks (id INTEGER PRIMARY KEY, path BLOB NOT NULL, missing INTEGER NOT NULL, "
    "size INTEGER, modified INTEGER, state INTEGER, added INTEGER, fingerprint BLOB, title TEXT, "
    "artist TEXT, albumArtist TEXT, album TEXT, genre TEXT, year INTEGER, track INTEGER, "
    "disc INTEGER, duration INTEGER, trackGain REAL, trackPeak REAL, albumGain REAL, "
    "albumPeak REAL, cover BLOB)",
    "CREATE TABLE moved (path BLOB PRIMARY KEY, track INTEGER NOT NULL)",
    "CREATE TABLE folderPictures (folder BLOB PRIMARY KEY, path BLOB, version BLOB)",
    "CREATE TABLE namedCovers (name BLOB PRIMARY KEY, file BLOB)",
};

QVariant value(const std::optional<double>& number) {
    return number ? QVariant(*number) : QVariant();
}

std::optional<double> number(const QVariant& value) {
    return value.isNull() ? std::nullopt : std::optional<double>(value.toDouble());
}

// In the order of the columns.
LibraryTrack readTrack(const QSqlQuery& row) {
    LibraryTrack track;
    int column = 0;
    const auto next = [&] { return row.value(column++); };
    track.id = next().toLongLong();
    track.path = next().toByteArray();
    next();
    track.size = next().toLongLong();
    track.modifiedNs = next().toLongLong();
    track.state = LibraryTrack::State(next().toInt());
    track.added = next().toLongLong();
    track.fingerprint = next().toByteArray();
    track.title = next().toString();
    track.artist = next().toString();
    track.albumArtist = next().toString();
    track.album = next().toString();
    track.genre = next().toString();
    track.year = next().toInt();
    track.track = next().toInt();
    track.disc = next().toInt();
    track.durationMs = next().toLongLong();
    track.trackGain = number(next());
    track.trackPeak = number(next());
    track.albumGain = number(next());
    track.albumPeak = number(next());
    track.cover = next().toByteArray();
    return track;
}

} // namespace

bool MediaStore::isAvailable() {
    return QSqlDatabase::isDriverAvailable(QStringLiteral("QSQLITE"));
}

MediaStore::MediaStore(const QString& path)
    : m_path(path), m_name(QStringLiteral("media library ") + path) {}

MediaStore::~MediaStore() {
    close();
}

bool MediaStore::open() {
    QDir().mkpath(QFileInfo(m_path).path());
    if (openFile() && (hasSchema() || makeSchema()))
        return true;
    setAside();
    if (openFile() && makeSchema())
        return true;
    dbglog_error("Cannot keep the library in " << m_path << ": " << m_database.lastError().text());
    return false;
}

bool MediaStore::openFile() {
    m_database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    m_database.setDatabaseName(m_path);
    // A lost write is read from the files again; a damaged file would lose all.
    return m_database.open() && run("PRAGMA journal_mode = WAL") &&
           run("PRAGMA synchronous = NORMAL");
}

bool MediaStore::hasSchema() {
    QSqlQuery query(m_database);
    if (!query.exec(QStringLiteral("PRAGMA user_version")) || !query.next() ||
        query.value(0).toInt() != schemaVersion)
        return false;
    return query.exec(QStringLiteral("PRAGMA quick_check(1)")) && query.next() &&
           query.value(0).toString() == QLatin1String("ok");
}

// Fails for a file that is not empty.
bool MediaStore::makeSchema() {
    if (!m_database.tables().isEmpty() || !m_database.transaction())
        return false;
    for (const char* statement : schema) {
        if (!run(statement))
            return false;
    }
    return run(qPrintable(QStringLiteral("PRAGMA user_version = %1").arg(schemaVersion))) &&
           m_database.commit();
}

void MediaStore::setAside() {
    close();
    const QString aside = m_path + QStringLiteral(".unusable");
    dbglog_warning("The library " << m_path << " cannot be used; it is now " << aside);
    QFile::remove(aside);
    QFile::rename(m_path, aside);
    for (const char* suffix : {"-wal", "-shm"})
        QFile::remove(m_path + QLatin1String(suffix));
}

void MediaStore::close() {
    if (!m_database.isValid())
        return;
    m_saveTrack.reset();
    m_database.close();
    m_database = {};
    QSqlDatabase::removeDatabase(m_name);
}

bool MediaStore::run(const char* sql, const QVariantList& values) const {
    QSqlQuery query(m_database);
    query.prepare(QLatin1String(sql));
    return execute(&query, values);
}

bool MediaStore::execute(QSqlQuery* query, const QVariantList& values) const {
    for (int position = 0; position < values.size(); ++position)
        query->bindValue(position, values[position]);
    if (query->exec())
        return true;
    dbglog_warning("Cannot write to " << m_path << ": " << query->lastError().text());
    return false;
}

MediaStore::Source MediaStore::source() const {
    QSqlQuery query(m_database);
    if (!query.exec(QStringLiteral("SELECT folder, device, inode FROM source")) || !query.next())
        return {};
    return {query.value(0).toByteArray(), quint64(query.value(1).toLongLong()),
            quint64(query.value(2).toLongLong())};
}

void MediaStore::setSource(const Source& source) {
    run("DELETE FROM source");
    run("INSERT INTO source VALUES (?, ?, ?)",
        {source.folder, qint64(source.device), qint64(source.inode)});
}

void MediaStore::readTracks(
    const std::function<void(LibraryTrack track, bool isMissing)>& use) const {
    const qint64 oldest =
        QDateTime::currentSecsSinceEpoch() - qint64(maximumMissingDays) * 24 * 60 * 60;
    run("DELETE FROM tracks WHERE missing != 0 AND missing < ?", {oldest});
    run("DELETE FROM moved WHERE track NOT IN (SELECT id FROM tracks)");
    QSqlQuery query(m_database);
    query.setForwardOnly(true);
    query.exec(QStringLiteral("SELECT * FROM tracks"));
    while (query.next())
        use(readTrack(query), query.value(2).toLongLong() != 0);
}

QHash<QByteArray, qint64> MediaStore::moved() const {
    QHash<QByteArray, qint64> paths;
    QSqlQuery query(m_database);
    query.exec(QStringLiteral("SELECT path, track FROM moved"));
    while (query.next())
        paths.insert(query.value(0).toByteArray(), query.value(1).toLongLong());
    return paths;
}

MediaStore::Pictures MediaStore::folderPictures() const {
    Pictures pictures;
    QSqlQuery query(m_database);
    query.exec(QStringLiteral("SELECT folder, path, version FROM folderPictures"));
    while (query.next())
        pictures.insert(query.value(0).toByteArray(),
                        {query.value(1).toByteArray(), query.value(2).toByteArray()});
    return pictures;
}

QHash<QByteArray, QByteArray> MediaStore::namedCovers() const {
    QHash<QByteArray, QByteArray> covers;
    QSqlQuery query(m_database);
    query.exec(QStringLiteral("SELECT name, file FROM namedCovers"));
    while (query.next())
        covers.insert(query.value(0).toByteArray(), query.value(1).toByteArray());
    return covers;
}

void MediaStore::begin() {
    m_database.transaction();
}

void MediaStore::commit() {
    if (!m_database.commit())
        dbglog_warning("Cannot write to " << m_path << ": " << m_database.lastError().text());
}

void MediaStore::save(const LibraryTrack& track) {
    if (!m_saveTrack) {
        m_saveTrack = std::make_unique<QSqlQuery>(m_database);
        m_saveTrack->prepare(
            QStringLiteral("INSERT OR REPLACE INTO tracks VALUES "
                           "(?, ?, 0, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"));
    }
    execute(m_saveTrack.get(), {track.id,
                                track.path,
                                track.size,
                                track.modifiedNs,
                                int(track.state),
                                track.added,
                                track.fingerprint,
                                track.title,
                                track.artist,
                                track.albumArtist,
                                track.album,
                                track.genre,
                                track.year,
                                track.track,
                                track.disc,
                                track.durationMs,
                                value(track.trackGain),
                                value(track.trackPeak),
                                value(track.albumGain),
                                value(track.albumPeak),
                                track.cover});
}

void MediaStore::setMissing(qint64 id, qint64 sinceSeconds) {
    run("UPDATE tracks SET missing = ? WHERE id = ?", {sinceSeconds, id});
}

void MediaStore::addMoved(const QByteArray& formerPath, qint64 id) {
    run("INSERT OR REPLACE INTO moved VALUES (?, ?)", {formerPath, id});
}

void MediaStore::removeMoved(const QByteArray& formerPath) {
    run("DELETE FROM moved WHERE path = ?", {formerPath});
}

void MediaStore::setFolderPictures(const Pictures& pictures) {
    run("DELETE FROM folderPictures");
    for (auto entry = pictures.cbegin(); entry != pictures.cend(); ++entry)
        run("INSERT INTO folderPictures VALUES (?, ?, ?)",
            {entry.key(), entry->first, entry->second});
}

void MediaStore::setNamedCovers(const QHash<QByteArray, QByteArray>& covers) {
    run("DELETE FROM namedCovers");
    for (auto entry = covers.cbegin(); entry != covers.cend(); ++entry)
        run("INSERT INTO namedCovers VALUES (?, ?)", {entry.key(), *entry});
}
