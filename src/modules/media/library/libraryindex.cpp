// SPDX-License-Identifier: MIT
#include "libraryindex.h"

#include "core/dbglog.h"
#include "filenames.h"

#include <QDateTime>

#include <algorithm>

bool LibraryIndex::open() {
    if (!m_store.open())
        return false;
    m_store.readTracks([this](LibraryTrack track, bool isMissing) {
        m_nextId = std::max(m_nextId, track.id + 1);
        const LibraryTrackPtr entry = shared(std::move(track));
        if (isMissing)
            addMissing(entry);
        else
            m_tracks.insert(entry->path, entry);
    });
    m_moved = m_store.moved();
    m_pictures = m_store.folderPictures();
    m_namedCovers = m_store.namedCovers();
    return true;
}

void LibraryIndex::setSource(const MediaStore::Source& source) {
    const MediaStore::Source former = m_store.source();
    const bool isOther = former.folder != source.folder;
    if (!isOther && former.device == source.device && former.inode == source.inode)
        return;
    m_store.begin();
    m_store.setSource(source);
    if (isOther) {
        const QList<QByteArray> paths = m_tracks.keys();
        for (const QByteArray& path : paths)
            setMissing(path);
    }
    m_store.commit();
}

bool LibraryIndex::isCurrent(const QByteArray& path, const FolderContent::File& file) const {
    const LibraryTrackPtr track = m_tracks.value(path);
    return track && track->size == file.size && track->modifiedNs == file.modifiedNs;
}

LibraryIndex::Counts LibraryIndex::counts() const {
    Counts counts;
    for (const LibraryTrackPtr& track : m_tracks)
        ++(track->state == LibraryTrack::State::Read ? counts.read : counts.failed);
    return counts;
}

bool LibraryIndex::takeOver(const FolderContent& content) {
    QVector<QByteArray> gone;
    for (auto entry = m_tracks.cbegin(); entry != m_tracks.cend(); ++entry) {
        if (content.isGone(entry.key()))
            gone.append(entry.key());
    }
    m_store.begin();
    for (const QByteArray& path : qAsConst(gone))
        setMissing(path);
    const bool hasNewPictures = takeOverPictures(content);
    m_store.commit();
    return takeOverPlaylists(content) || hasNewPictures || !gone.isEmpty();
}

bool LibraryIndex::takeOverPictures(const FolderContent& content) {
    MediaStore::Pictures pictures = m_pictures;
    for (auto entry = m_pictures.cbegin(); entry != m_pictures.cend(); ++entry) {
        if (content.folders.contains(entry.key()) || content.isGone(entry->first))
            pictures.remove(entry.key());
    }
    for (auto entry = content.pictures.cbegin(); entry != content.pictures.cend(); ++entry)
        pictures.insert(entry.key(), {entry->path, entry->version});
    const bool isNew = pictures != m_pictures;
    if (isNew) {
        m_pictures = pictures;
        m_store.setFolderPictures(pictures);
    }
    const bool isCoversSeen = content.folders.contains(FolderWalk::coversFolder()) ||
                              content.isGone(FolderWalk::coversFolder() + "/any");
    if (!isCoversSeen || m_namedCovers == content.namedCovers)
        return isNew;
    m_namedCovers = content.namedCovers;
    m_store.setNamedCovers(m_namedCovers);
    return true;
}

bool LibraryIndex::takeOverPlaylists(const FolderContent& content) {
    bool isNew = false;
    const QList<QByteArray> known = m_playlists.keys();
    for (const QByteArray& path : known) {
        if (!content.playlists.contains(path) && content.isGone(path))
            isNew |= m_playlists.remove(path) > 0;
    }
    for (auto entry = content.playlists.cbegin(); entry != content.playlists.cend(); ++entry) {
        isNew |= m_playlists.value(entry.key()) != *entry;
        m_playlists.insert(entry.key(), *entry);
    }
    return isNew;
}

void LibraryIndex::add(LibraryTrack track) {
    const LibraryTrackPtr known = takeKnown(track);
    track.id = known ? known->id : m_nextId++;
    track.added = known ? known->added : QDateTime::currentSecsSinceEpoch();
    if (known && known->path != track.path) {
        dbglog_info(known->path << " is " << track.path << " now");
        m_moved.insert(known->path, track.id);
        m_store.addMoved(known->path, track.id);
    }
    if (m_moved.remove(track.path) > 0)
        m_store.removeMoved(track.path);
    const LibraryTrackPtr entry = shared(std::move(track));
    m_tracks.insert(entry->path, entry);
    m_unsaved.push_back(entry);
}

LibraryTrackPtr LibraryIndex::shared(LibraryTrack track) {
    for (QString* name : {&track.artist, &track.albumArtist, &track.album, &track.genre})
        *name = *m_names.insert(*name);
    track.prepare();
    return std::make_shared<const LibraryTrack>(std::move(track));
}

// The same place, or the same content at a place that is empty now. No longer missing.
LibraryTrackPtr LibraryIndex::takeKnown(const LibraryTrack& track) {
    if (const LibraryTrackPtr present = m_tracks.value(track.path))
        return present;
    const QByteArray path =
        m_missing.contains(track.path) ? track.path : m_missingPrints.value(track.fingerprint);
    const LibraryTrackPtr known = m_missing.take(path);
    if (known)
        m_missingPrints.remove(known->fingerprint);
    return known;
}

void LibraryIndex::save() {
    m_store.begin();
    for (const LibraryTrackPtr& track : m_unsaved)
        m_store.save(*track);
    m_store.commit();
    m_unsaved.clear();
}

void LibraryIndex::setMissing(const QByteArray& path) {
    const LibraryTrackPtr track = m_tracks.take(path);
    addMissing(track);
    m_store.setMissing(track->id, QDateTime::currentSecsSinceEpoch());
}

void LibraryIndex::addMissing(const LibraryTrackPtr& track) {
    m_missing.insert(track->path, track);
    if (!track->fingerprint.isEmpty())
        m_missingPrints.insert(track->fingerprint, track->path);
}

MediaCatalogue::Content LibraryIndex::content() const {
    MediaCatalogue::Content content;
    QHash<qint64, QByteArray> paths;
    for (const LibraryTrackPtr& track : m_tracks) {
        if (track->state != LibraryTrack::State::Skipped)
            content.tracks.push_back(track);
        if (!m_moved.isEmpty())
            paths.insert(track->id, track->path);
    }
    for (auto entry = m_moved.cbegin(); entry != m_moved.cend(); ++entry) {
        if (paths.contains(*entry))
            content.moved.insert(entry.key(), paths.value(*entry));
    }
    content.folderPictures = m_pictures;
    content.namedCovers = m_namedCovers;
    QList<QByteArray> playlists = m_playlists.keys();
    std::sort(playlists.begin(), playlists.end());
    for (const QByteArray& path : qAsConst(playlists))
        content.stations += m_playlists.value(path);
    return content;
}
