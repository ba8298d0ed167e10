// SPDX-License-Identifier: MIT
#pragma once

#include "playlistfile.h"

#include <QDateTime>
#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>

// The playlists of a folder: its files *.m3u8 and *.m3u. Those that somebody puts there, changes or
// removes are noticed. Files are read one at a time, each in a turn of the event loop of its own.
class PlaylistFolder : public QObject {
    Q_OBJECT

public:
    // Of files in the folder, in the order of their names: more than anybody keeps.
    static constexpr int maximumPlaylists = 250;
    // Of a file: a full queue of long paths. It is read in one turn of the event loop.
    static constexpr qint64 maximumBytes = 4 << 20;

    struct Playlist {
        // Of the file's name, so that it stays the same as long as that does.
        QString id;
        QString fileName;
        QString title;
        int size = 0;
        // Of the file, to notice changes.
        QDateTime modified;
        qint64 bytes = -1;
    };

    // `path` is the folder, which is made; empty for none. `musicFolder` is that of the names in
    // the files.
    PlaylistFolder(const QString& path, const QString& musicFolder);

    bool isEmpty() const { return m_playlists.isEmpty(); }
    // In the order of their titles.
    const QVector<Playlist>& playlists() const { return m_playlists; }
    // Null when there is none.
    const Playlist* find(const QString& id) const;
    const Playlist* findTitle(const QString& title) const;
    // Without content when the file cannot be read.
    PlaylistFile read(const Playlist& playlist) const;

    // These answer with an error in plain words, which is empty when the files are changed.
    // A playlist of that title is replaced.
    QString save(const QString& title, const QVector<PlayerTrack>& tracks);
    QString rename(const QString& id, const QString& title);
    QString remove(const QString& id);

Q_SIGNALS:
    void changed();

private:
    void look();
    void readNext();
    void describe(const QString& fileName);
    void forget(const QString& fileName);
    QString filePath(const QString& fileName) const { return m_path + '/' + fileName; }
    QByteArray content(const QString& fileName) const;
    // The file of its own may have the name already.
    QString freeName(const QString& title, const QString& own = {}) const;
    QString write(const QString& fileName, const QByteArray& content);

    QString m_path;
    QString m_musicFolder;
    QFileSystemWatcher m_watcher;
    QTimer m_look;
    QVector<Playlist> m_playlists;
    // Files that are to be read.
    QStringList m_unread;
};
