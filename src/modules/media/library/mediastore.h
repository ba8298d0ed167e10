// SPDX-License-Identifier: MIT
#pragma once

#include "librarytrack.h"

#include <QHash>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVector>

#include <functional>

// The library on the disk: a SQLite database in which all of it stays while the device is off. All
// SQL is here. An object belongs to one thread. Writes that fail are logged; what they would have
// stored is read from the files again at the next start.
class MediaStore {
public:
    // Where the library comes from, to tell an empty folder from one that is not mounted.
    struct Source {
        QByteArray folder;
        quint64 device = 0;
        quint64 inode = 0;
    };
    using Pictures = QHash<QByteArray, QPair<QByteArray, QByteArray>>;

    // Files that are away for longer are forgotten.
    static constexpr int maximumMissingDays = 90;

    // Whether the system can do it at all.
    static bool isAvailable();

    explicit MediaStore(const QString& path);
    ~MediaStore();

    // A file that is no library of this version is set aside, and a new one begun. False when
    // there can be none.
    bool open();

    Source source() const;
    void setSource(const Source& source);
    // A file that is missing was there once. It stays known so that it is the same track when it
    // comes back.
    void readTracks(const std::function<void(LibraryTrack track, bool isMissing)>& use) const;
    // Former paths and the ids of the tracks.
    QHash<QByteArray, qint64> moved() const;
    Pictures folderPictures() const;
    QHash<QByteArray, QByteArray> namedCovers() const;

    // Until commit() all changes are one.
    void begin();
    void commit();
    void save(const LibraryTrack& track);
    void setMissing(qint64 id, qint64 sinceSeconds);
    void addMoved(const QByteArray& formerPath, qint64 id);
    void removeMoved(const QByteArray& formerPath);
    // Replace all.
    void setFolderPictures(const Pictures& pictures);
    void setNamedCovers(const QHash<QByteArray, QByteArray>& covers);

private:
    bool openFile();
    bool hasSchema();
    bool makeSchema();
    bool run(const char* sql, const QVariantList& values = {}) const;
    bool execute(QSqlQuery* query, const QVariantList& values) const;
    void setAside();
    void close();

    QString m_path;
    QString m_name;
    QSqlDatabase m_database;
    // Preparing it anew for each track takes longer than executing it.
    std::unique_ptr<QSqlQuery> m_saveTrack;
};
