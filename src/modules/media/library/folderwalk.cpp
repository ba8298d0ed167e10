// SPDX-License-Identifier: MIT
#include "folderwalk.h"

#include "core/dbglog.h"
#include "filenames.h"

#include <QCryptographicHash>
#include <QFile>

#include <cerrno>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A list of a thousand stations has some hundred kilobytes.
constexpr qint64 maximumPlaylistBytes = qint64(1) << 20;
// People have some lists of stations; others are of tracks.
constexpr int maximumPlaylists = 200;

QByteArray join(const QByteArray& folder, const QByteArray& name) {
    return folder.isEmpty() ? name : folder + '/' + name;
}

bool isPicture(const QByteArray& name) {
    const QByteArray ending = name.mid(name.lastIndexOf('.') + 1).toLower();
    return ending == "jpg" || ending == "jpeg" || ending == "png";
}

bool standsForFolder(const QByteArray& name) {
    const QByteArray base = FileNames::baseOf(name).toLower();
    return isPicture(name) && (base == "cover" || base == "folder" || base == "front");
}

// Of a regular file that does not make the reader wait.
QByteArray readSmallFile(const QByteArray& path) {
    const int descriptor = open(path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0)
        return {};
    QFile file;
    file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
    return file.read(maximumPlaylistBytes);
}

} // namespace

bool FolderContent::isGone(const QByteArray& path) const {
    if (audio.contains(path))
        return false;
    QByteArray below = path;
    QByteArray folder = FileNames::folderOf(path);
    if (folders.contains(folder))
        return true;
    // The nearest folder that was read tells.
    while (!folder.isEmpty()) {
        below = folder;
        folder = FileNames::folderOf(below);
        const auto found = folders.constFind(folder);
        if (found != folders.constEnd())
            return !found->contains(FileNames::nameOf(below));
    }
    return false;
}

FolderWalk::FolderWalk(const QByteArray& root, Visitor visitor)
    : m_root(root), m_canonicalRoot(FileNames::canonical(root)), m_visitor(std::move(visitor)) {}

void FolderWalk::read(const QByteArray& folder,
                      const std::function<bool(const QByteArray&)>& wanted) {
    if (m_isEnded || folder.count('/') >= maximumDepth)
        return;
    m_isEnded = !m_visitor(folder, m_content.audio.size());
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(
        m_isEnded ? nullptr : opendir(join(m_root, folder).constData()), &closedir);
    if (!stream) {
        if (!m_isEnded && errno != ENOENT) {
            dbglog_warning("Cannot read the folder " << join(m_root, folder) << ": "
                                                     << strerror(errno));
        }
        m_content.unread.insert(folder);
        return;
    }
    QSet<QByteArray> folders;
    errno = 0;
    while (const dirent* entry = readdir(stream.get())) {
        if (entry->d_name[0] != '.')
            addEntry(dirfd(stream.get()), folder, entry->d_name, &folders);
        errno = 0;
    }
    // What was not seen of a folder that cannot be read to its end is not gone.
    if (errno != 0)
        m_content.unread.insert(folder);
    else
        m_content.folders.insert(folder, folders);
    for (const QByteArray& name : qAsConst(folders)) {
        if (wanted(join(folder, name)))
            read(join(folder, name), wanted);
    }
}

// Looking a name up in its open folder is faster than from the root.
void FolderWalk::addEntry(int directory, const QByteArray& folder, const QByteArray& name,
                          QSet<QByteArray>* folders) {
    struct stat status {};
    if (fstatat(directory, name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return;
    if (S_ISDIR(status.st_mode)) {
        folders->insert(name);
        return;
    }
    const QByteArray path = join(folder, name);
    if (S_ISLNK(status.st_mode) &&
        (leadsOut(path) || fstatat(directory, name.constData(), &status, 0) != 0))
        return;
    if (S_ISREG(status.st_mode)) {
        const qint64 modifiedNs =
            qint64(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
        addFile(path, folder, name, {qint64(status.st_size), modifiedNs});
    }
}

void FolderWalk::addFile(const QByteArray& path, const QByteArray& folder, const QByteArray& name,
                         const FolderContent::File& file) {
    if (FileNames::isAudio(name)) {
        if (m_content.audio.size() < maximumTracks)
            m_content.audio.insert(path, file);
    } else if (FileNames::isPlaylist(name)) {
        if (m_content.playlists.size() >= maximumPlaylists)
            return;
        m_content.playlists.insert(path,
                                   Stations::fromPlaylist(readSmallFile(m_root + '/' + path)));
    } else if (standsForFolder(name)) {
        FolderContent::Picture& picture = m_content.pictures[folder];
        // Of several, always the same one.
        if (!picture.path.isEmpty() && picture.path < path)
            return;
        const QByteArray identity =
            path + '\0' + QByteArray::number(file.size) + ' ' + QByteArray::number(file.modifiedNs);
        picture = {path, QCryptographicHash::hash(identity, QCryptographicHash::Sha1).toHex()};
    }
    if (folder == coversFolder() && isPicture(name))
        m_content.namedCovers.insert(FileNames::baseOf(name), name);
}

bool FolderWalk::leadsOut(const QByteArray& path) const {
    return !FileNames::canonical(m_root + '/' + path).startsWith(m_canonicalRoot + '/');
}
