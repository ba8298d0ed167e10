// SPDX-License-Identifier: MIT
#pragma once

#include "librarytrack.h"
#include "station.h"

#include <QHash>
#include <QMetaType>
#include <QVector>

#include <vector>

// The library at one moment: its tracks in the order of their titles, and what they are grouped
// by. Does not change, so that it can be made on one thread and used on another.
class MediaCatalogue {
public:
    // What a catalogue is made of.
    struct Content {
        // Those that are offered, in any order.
        std::vector<LibraryTrackPtr> tracks;
        // Former paths of tracks, with the present ones.
        QHash<QByteArray, QByteArray> moved;
        // The picture files that stand for folders: the path of the file, and a hash of its
        // version.
        QHash<QByteArray, QPair<QByteArray, QByteArray>> folderPictures;
        // Pictures in the folder "covers", by their names without ending.
        QHash<QByteArray, QByteArray> namedCovers;
        QVector<Station> stations;
    };
    // A list of tracks by their indexes.
    using Tracks = QVector<int>;
    struct Album {
        QString title;
        QString artist; // empty for several
        Tracks tracks;  // in the order of discs and tracks
    };
    struct Artist {
        QString name;
        QStringList albums; // ids, in the order of their years
        Tracks tracks;      // those on none of these albums
    };
    struct Genre {
        QString name;
        Tracks tracks;
    };
    struct Folder {
        QVector<QByteArray> folders; // paths
        Tracks tracks;
    };
    // Groups with ids that follow from their names.
    template <typename Group>
    struct Groups {
        QHash<QString, Group> byId;
        QStringList order; // ids, by the names
    };

    // Of the list of those added last.
    static constexpr int maximumRecent = 200;

    MediaCatalogue() = default;
    explicit MediaCatalogue(Content content);

    // The same with further stations, before its own.
    std::shared_ptr<const MediaCatalogue> withStations(const QVector<Station>& stations) const;

    // The order of the tracks: by title, then by path.
    static bool isBefore(const LibraryTrack& left, const LibraryTrack& right);
    // Whether the same picture files belong to the same folders and names.
    bool hasPicturesOf(const MediaCatalogue& other) const {
        return m_content.folderPictures == other.m_content.folderPictures &&
               m_content.namedCovers == other.m_content.namedCovers;
    }

    int size() const { return int(m_content.tracks.size()); }
    const LibraryTrack& track(int index) const { return *m_content.tracks[size_t(index)]; }
    // By its present path or, if no file is there, by a former one. -1 when there is none.
    int find(const QByteArray& path) const;
    // Its name in media:/covers/; empty without one.
    QByteArray cover(int index) const;
    // The file, relative to the root, that contains the cover of this hash; null when there is
    // none.
    QByteArray coverFile(const QByteArray& hash) const { return m_coverFiles.value(hash); }

    const Groups<Album>& albums() const { return m_albums; }
    const Groups<Artist>& artists() const { return m_artists; }
    const Groups<Genre>& genres() const { return m_genres; }
    const QHash<QByteArray, Folder>& folders() const { return m_folders; }
    const Tracks& recent() const { return m_recent; }
    const QVector<Station>& stations() const { return m_content.stations; }

private:
    void indexCovers();
    // The ids of the tracks' albums; empty without one.
    QStringList groupAlbums();
    void groupArtists(const QStringList& albumsOfTracks);
    void groupGenres();
    void groupFolders();
    void listRecent();

    Content m_content;
    QHash<QByteArray, int> m_byPath;
    QHash<QByteArray, QByteArray> m_coverFiles;
    Groups<Album> m_albums;
    Groups<Artist> m_artists;
    Groups<Genre> m_genres;
    QHash<QByteArray, Folder> m_folders;
    Tracks m_recent;
};

using MediaCataloguePtr = std::shared_ptr<const MediaCatalogue>;
Q_DECLARE_METATYPE(MediaCataloguePtr)
