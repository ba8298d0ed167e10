// SPDX-License-Identifier: MIT
#pragma once

#include "folderwalk.h"
#include "mediacatalogue.h"
#include "mediastore.h"

// The files of the library as they were last seen, in memory and in the store. Tells what has to be
// read, and which new file is a known one at another place.
class LibraryIndex {
public:
    struct Counts {
        int read = 0;
        int failed = 0;
    };

    explicit LibraryIndex(const QString& databasePath) : m_store(databasePath) {}

    // What the store has. False when there can be no store.
    bool open();
    MediaStore::Source source() const { return m_store.source(); }
    // Files of another folder are no longer there.
    void setSource(const MediaStore::Source& source);

    bool isEmpty() const { return m_tracks.isEmpty(); }
    bool isCurrent(const QByteArray& path, const FolderContent::File& file) const;
    Counts counts() const;

    // Removes the tracks that the walk would have found, and takes over pictures and stations.
    // True when something has changed.
    bool takeOver(const FolderContent& content);
    // The track gets the id of the file that it is, or a new one. It is stored with the next
    // save().
    void add(LibraryTrack track);
    // Writes what was added, in one transaction.
    void save();

    MediaCatalogue::Content content() const;

private:
    void setMissing(const QByteArray& path);
    void addMissing(const LibraryTrackPtr& track);
    LibraryTrackPtr takeKnown(const LibraryTrack& track);
    LibraryTrackPtr shared(LibraryTrack track);
    bool takeOverPictures(const FolderContent& content);
    bool takeOverPlaylists(const FolderContent& content);

    MediaStore m_store;
    qint64 m_nextId = 1;
    QHash<QByteArray, LibraryTrackPtr> m_tracks;
    QHash<QByteArray, LibraryTrackPtr> m_missing;
    // Of the missing ones, their paths by their fingerprints.
    QHash<QByteArray, QByteArray> m_missingPrints;
    QHash<QByteArray, qint64> m_moved;
    MediaStore::Pictures m_pictures;
    QHash<QByteArray, QByteArray> m_namedCovers;
    QHash<QByteArray, QVector<Station>> m_playlists;
    std::vector<LibraryTrackPtr> m_unsaved;
    // Names that many tracks have, in memory once.
    QSet<QString> m_names;
};
