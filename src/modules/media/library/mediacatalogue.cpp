// SPDX-License-Identifier: MIT
#include "mediacatalogue.h"

#include "filenames.h"
#include "searchtext.h"
#include "stableid.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace {

// Ids follow from the names as they are searched, so that "Björk" and "bjork" are one artist.
QString idOfName(const QString& name) {
    return stableId(searchText(name));
}

// "Artist/Album/CD 2" is a part of "Artist/Album".
QByteArray albumFolder(const QByteArray& path) {
    const QByteArray folder = FileNames::folderOf(path);
    QByteArray name = FileNames::nameOf(folder).toLower();
    for (const char* prefix : {"cd", "disc", "disk"}) {
        bool isNumber = false;
        if (name.startsWith(prefix))
            name.mid(int(qstrlen(prefix))).trimmed().toInt(&isNumber);
        if (isNumber)
            return FileNames::folderOf(folder);
    }
    return folder;
}

// Albums of the same title are told apart by their artists or, without that tag, their folders.
QString albumId(const LibraryTrack& track) {
    const QByteArray owner =
        track.albumArtist.isEmpty() ? '/' + albumFolder(track.path) : searchText(track.albumArtist);
    return stableId(owner + '\0' + searchText(track.album));
}

// The names of groups in the order for people.
template <typename Group, typename Name>
void sortByName(MediaCatalogue::Groups<Group>* groups, Name name) {
    groups->order = groups->byId.keys();
    std::sort(
        groups->order.begin(), groups->order.end(), [&](const QString& left, const QString& right) {
            const int order =
                name(groups->byId[left]).compare(name(groups->byId[right]), Qt::CaseInsensitive);
            return order != 0 ? order < 0 : left < right;
        });
}

} // namespace

MediaCatalogue::MediaCatalogue(Content content) : m_content(std::move(content)) {
    std::sort(m_content.tracks.begin(), m_content.tracks.end(),
              [](const LibraryTrackPtr& left, const LibraryTrackPtr& right) {
                  return isBefore(*left, *right);
              });
    m_byPath.reserve(size());
    for (int index = 0; index < size(); ++index)
        m_byPath.insert(track(index).path, index);
    indexCovers();
    groupArtists(groupAlbums());
    groupGenres();
    groupFolders();
    listRecent();
}

bool MediaCatalogue::isBefore(const LibraryTrack& left, const LibraryTrack& right) {
    const int order = left.title.compare(right.title, Qt::CaseInsensitive);
    return order != 0 ? order < 0 : left.path < right.path;
}

MediaCataloguePtr MediaCatalogue::withStations(const QVector<Station>& stations) const {
    // Most of it is shared.
    auto copy = std::make_shared<MediaCatalogue>(*this);
    copy->m_content.stations = stations + m_content.stations;
    return copy;
}

int MediaCatalogue::find(const QByteArray& path) const {
    const auto found = m_byPath.constFind(path);
    return found != m_byPath.constEnd() ? *found : m_byPath.value(m_content.moved.value(path), -1);
}

QByteArray MediaCatalogue::cover(int index) const {
    const LibraryTrack& track = this->track(index);
    if (m_content.namedCovers.isEmpty() && m_content.folderPictures.isEmpty())
        return track.cover;
    const QByteArray folder = FileNames::folderOf(track.path);
    if (folder.isEmpty()) {
        const QByteArray named = m_content.namedCovers.value(FileNames::baseOf(track.path));
        if (!named.isEmpty())
            return named;
    }
    return track.cover.isEmpty() ? m_content.folderPictures.value(folder).second : track.cover;
}

void MediaCatalogue::indexCovers() {
    for (const auto& track : m_content.tracks) {
        if (!track->cover.isEmpty() && !m_coverFiles.contains(track->cover))
            m_coverFiles.insert(track->cover, track->path);
    }
    for (const auto& picture : qAsConst(m_content.folderPictures))
        m_coverFiles.insert(picture.second, picture.first);
}

QStringList MediaCatalogue::groupAlbums() {
    QStringList albumsOfTracks;
    for (int index = 0; index < size(); ++index) {
        const bool isOfAlbum = !track(index).album.isEmpty();
        albumsOfTracks.append(isOfAlbum ? albumId(track(index)) : QString());
        if (isOfAlbum)
            m_albums.byId[albumsOfTracks.last()].tracks.append(index);
    }
    const auto place = [this](int index) {
        const LibraryTrack& entry = track(index);
        return std::tie(entry.disc, entry.track, entry.path);
    };
    for (Album& album : m_albums.byId) {
        std::sort(album.tracks.begin(), album.tracks.end(),
                  [&](int left, int right) { return place(left) < place(right); });
        const LibraryTrack& first = track(album.tracks.first());
        album.title = first.album;
        const bool isOfOne = std::all_of(album.tracks.begin(), album.tracks.end(), [&](int index) {
            return track(index).artist == first.artist;
        });
        album.artist = !first.albumArtist.isEmpty() ? first.albumArtist
                       : isOfOne                    ? first.artist
                                                    : QString();
    }
    sortByName(&m_albums, [](const Album& album) { return album.title; });
    return albumsOfTracks;
}

void MediaCatalogue::groupArtists(const QStringList& albumsOfTracks) {
    for (const QString& id : qAsConst(m_albums.order)) {
        const QString name = m_albums.byId[id].artist;
        if (name.isEmpty())
            continue;
        Artist& artist = m_artists.byId[idOfName(name)];
        artist.name = name;
        artist.albums.append(id);
    }
    for (int index = 0; index < size(); ++index) {
        const LibraryTrack& entry = track(index);
        const bool isOnOwnAlbum =
            !entry.album.isEmpty() && m_albums.byId[albumsOfTracks[index]].artist == entry.artist;
        if (entry.artist.isEmpty() || isOnOwnAlbum)
            continue;
        Artist& artist = m_artists.byId[idOfName(entry.artist)];
        artist.name = entry.artist;
        artist.tracks.append(index);
    }
    const auto year = [this](const QString& album) {
        return track(m_albums.byId[album].tracks.first()).year;
    };
    for (Artist& artist : m_artists.byId)
        std::stable_sort(
            artist.albums.begin(), artist.albums.end(),
            [&](const QString& left, const QString& right) { return year(left) < year(right); });
    sortByName(&m_artists, [](const Artist& artist) { return artist.name; });
}

void MediaCatalogue::groupGenres() {
    for (int index = 0; index < size(); ++index) {
        const QStringList names = track(index).genre.split(';', Qt::SkipEmptyParts);
        for (const QString& name : names) {
            Genre& genre = m_genres.byId[idOfName(name.trimmed())];
            genre.name = name.trimmed();
            genre.tracks.append(index);
        }
    }
    sortByName(&m_genres, [](const Genre& genre) { return genre.name; });
}

void MediaCatalogue::groupFolders() {
    m_folders.insert({}, {});
    for (int index = 0; index < size(); ++index) {
        QByteArray folder = FileNames::folderOf(track(index).path);
        bool isKnown = m_folders.contains(folder);
        m_folders[folder].tracks.append(index);
        while (!isKnown) {
            const QByteArray parent = FileNames::folderOf(folder);
            isKnown = m_folders.contains(parent);
            m_folders[parent].folders.append(folder);
            folder = parent;
        }
    }
    for (Folder& folder : m_folders) {
        std::sort(folder.folders.begin(), folder.folders.end());
        std::sort(folder.tracks.begin(), folder.tracks.end(),
                  [this](int left, int right) { return track(left).path < track(right).path; });
    }
}

void MediaCatalogue::listRecent() {
    m_recent.resize(size());
    std::iota(m_recent.begin(), m_recent.end(), 0);
    const int length = std::min(maximumRecent, size());
    std::partial_sort(m_recent.begin(), m_recent.begin() + length, m_recent.end(),
                      [this](int left, int right) {
                          const qint64 leftAdded = track(left).added;
                          const qint64 rightAdded = track(right).added;
                          return leftAdded != rightAdded ? leftAdded > rightAdded : left < right;
                      });
    m_recent.resize(length);
    m_recent.squeeze();
}
