// SPDX-License-Identifier: MIT
#include "playlistfolder.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"
#include "playerstore.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace {

// A file changes many times while it is copied.
constexpr int lookDelayMs = 300;
const QString fileEnding = QStringLiteral(".m3u8");

QString idOf(const QString& fileName) {
    constexpr int digits = 16;
    const QByteArray name = QFile::encodeName(fileName);
    return QString::fromLatin1(
        QCryptographicHash::hash(name, QCryptographicHash::Sha1).toHex().left(digits));
}

bool isBefore(const PlaylistFolder::Playlist& left, const PlaylistFolder::Playlist& right) {
    const int order = left.title.compare(right.title, Qt::CaseInsensitive);
    return order != 0 ? order < 0 : left.fileName < right.fileName;
}

} // namespace

PlaylistFolder::PlaylistFolder(const QString& path, const QString& musicFolder)
    : m_path(path), m_musicFolder(musicFolder) {
    m_look.setSingleShot(true);
    plixConnect(&m_look, &QTimer::timeout, this, &PlaylistFolder::look);
    if (path.isEmpty())
        return;
    const auto lookLater = [this] { m_look.start(lookDelayMs); };
    plixConnect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, lookLater);
    plixConnect(&m_watcher, &QFileSystemWatcher::fileChanged, this, lookLater);
    if (!QDir().mkpath(path) || !m_watcher.addPath(path))
        dbglog_warning("There is no folder for playlists: " << path);
    m_look.start(0);
}

const PlaylistFolder::Playlist* PlaylistFolder::find(const QString& id) const {
    const auto found = std::find_if(m_playlists.begin(), m_playlists.end(),
                                    [&](const Playlist& one) { return one.id == id; });
    return found == m_playlists.end() ? nullptr : &*found;
}

const PlaylistFolder::Playlist* PlaylistFolder::findTitle(const QString& title) const {
    const auto found = std::find_if(m_playlists.begin(), m_playlists.end(),
                                    [&](const Playlist& one) { return one.title == title; });
    return found == m_playlists.end() ? nullptr : &*found;
}

PlaylistFile PlaylistFolder::read(const Playlist& playlist) const {
    return {content(playlist.fileName), m_musicFolder};
}

QByteArray PlaylistFolder::content(const QString& fileName) const {
    QFile file(filePath(fileName));
    return file.open(QIODevice::ReadOnly) && file.size() <= maximumBytes ? file.read(maximumBytes)
                                                                         : QByteArray();
}

// What is in the folder.

void PlaylistFolder::look() {
    const QStringList names =
        QDir(m_path)
            .entryList({QStringLiteral("*.m3u8"), QStringLiteral("*.m3u")}, QDir::Files, QDir::Name)
            .mid(0, maximumPlaylists);
    QVector<Playlist> known;
    m_unread.clear();
    for (const QString& name : names) {
        const Playlist* before = find(idOf(name));
        const QFileInfo file(filePath(name));
        if (before)
            known.append(*before);
        if (!before || before->modified != file.lastModified() || before->bytes != file.size())
            m_unread.append(name);
        // A replaced file is another one to the watcher.
        if (!m_watcher.files().contains(file.filePath()))
            m_watcher.addPath(file.filePath());
    }
    const bool isGone = known.size() < m_playlists.size();
    std::sort(known.begin(), known.end(), isBefore);
    m_playlists = known;
    readNext();
    if (isGone)
        Q_EMIT changed();
}

void PlaylistFolder::readNext() {
    if (m_unread.isEmpty())
        return;
    describe(m_unread.takeFirst());
    // All at once, so that clients do not read the list again for each.
    if (m_unread.isEmpty())
        Q_EMIT changed();
    else
        QTimer::singleShot(0, this, &PlaylistFolder::readNext);
}

void PlaylistFolder::describe(const QString& fileName) {
    const QFileInfo file(filePath(fileName));
    Playlist playlist;
    playlist.id = idOf(fileName);
    playlist.fileName = fileName;
    playlist.modified = file.lastModified();
    playlist.bytes = file.size();
    const PlaylistFile read = this->read(playlist);
    playlist.title =
        PlaylistTitle::fromText(read.title()).value_or(QFileInfo(fileName).completeBaseName());
    playlist.size = read.size();
    if (playlist.bytes > maximumBytes)
        dbglog_warning("Too large for a playlist: " << fileName);
    forget(fileName);
    m_playlists.insert(std::upper_bound(m_playlists.begin(), m_playlists.end(), playlist, isBefore),
                       playlist);
}

void PlaylistFolder::forget(const QString& fileName) {
    const auto isIt = [&](const Playlist& one) { return one.fileName == fileName; };
    m_playlists.erase(std::remove_if(m_playlists.begin(), m_playlists.end(), isIt),
                      m_playlists.end());
}

// Commands.

QString PlaylistFolder::save(const QString& title, const QVector<PlayerTrack>& tracks) {
    const Playlist* present = findTitle(title);
    if (!present && m_playlists.size() >= maximumPlaylists)
        return QStringLiteral("There are too many playlists");
    const QByteArray content = PlaylistFile::make(title, tracks);
    if (content.size() > maximumBytes)
        return QStringLiteral("The playlist is too large");
    return write(present ? present->fileName : freeName(title), content);
}

QString PlaylistFolder::rename(const QString& id, const QString& title) {
    const Playlist playlist = *find(id);
    const QByteArray present = content(playlist.fileName);
    if (present.size() != playlist.bytes)
        return QStringLiteral("The playlist cannot be read");
    const QString fileName = freeName(title, playlist.fileName);
    const QString error = write(fileName, read(playlist).withTitle(title));
    return error.isEmpty() && fileName != playlist.fileName ? remove(playlist.id) : error;
}

QString PlaylistFolder::remove(const QString& id) {
    const QString fileName = find(id)->fileName;
    QFile file(filePath(fileName));
    if (!file.remove() && file.exists())
        return file.errorString();
    forget(fileName);
    Q_EMIT changed();
    return {};
}

QString PlaylistFolder::freeName(const QString& title, const QString& own) const {
    const QString name = PlaylistTitle::fileName(title);
    QString fileName = name + fileEnding;
    for (int i = 2; fileName != own && QFileInfo::exists(filePath(fileName)); ++i)
        fileName = QStringLiteral("%1 (%2)").arg(name).arg(i) + fileEnding;
    return fileName;
}

QString PlaylistFolder::write(const QString& fileName, const QByteArray& content) {
    const QString error = PlayerStore::write(filePath(fileName), content);
    if (!error.isEmpty())
        return error;
    describe(fileName);
    Q_EMIT changed();
    return {};
}
