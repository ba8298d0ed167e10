// SPDX-License-Identifier: MIT
#include "cataloguelists.h"

#include "catalogueroles.h"
#include "cataloguesearch.h"
#include "filenames.h"

#include <QMap>

namespace {

using CatalogueLists::List;

List tracks(const MediaCatalogue& catalogue, const MediaCatalogue::Tracks& indexes) {
    return {int(indexes.size()), [&catalogue, indexes](int row, const QStringList& roles) {
                return CatalogueRoles::track(catalogue, indexes[row], roles);
            }};
}

List join(const List& first, const List& second) {
    return {first.count + second.count, [first, second](int row, const QStringList& roles) {
                return row < first.count ? first.row(row, roles)
                                         : second.row(row - first.count, roles);
            }};
}

// Of things of which each has its roles.
template <typename Things, typename RolesOf>
List things(const Things& list, RolesOf rolesOf) {
    return {int(list.size()), [list, rolesOf](int row, const QStringList& roles) {
                const QVariantHash all = rolesOf(list[row]);
                QVariantList values;
                for (const QString& role : roles)
                    values.append(all.value(role));
                return values;
            }};
}

using RolesOfId = QVariantHash (*)(const MediaCatalogue&, const QString&);

List groups(const MediaCatalogue& catalogue, const QStringList& ids, RolesOfId roles) {
    return things(ids, [&catalogue, roles](const QString& id) { return roles(catalogue, id); });
}

List folders(const MediaCatalogue& catalogue, const MediaCatalogue::Folder& folder) {
    return join(things(folder.folders, CatalogueRoles::folder), tracks(catalogue, folder.tracks));
}

List found(const MediaCatalogue& catalogue, const QString& text) {
    const CatalogueSearch search(catalogue, text.left(CatalogueLists::maximumSearchText));
    return join(join(groups(catalogue, search.artists(), CatalogueRoles::artist),
                     groups(catalogue, search.albums(), CatalogueRoles::album)),
                tracks(catalogue, search.tracks()));
}

List all(const MediaCatalogue& catalogue) {
    return {catalogue.size(), [&catalogue](int row, const QStringList& roles) {
                return CatalogueRoles::track(catalogue, row, roles);
            }};
}

List artist(const MediaCatalogue& catalogue, const MediaCatalogue::Artist& artist) {
    return join(groups(catalogue, artist.albums, CatalogueRoles::album),
                tracks(catalogue, artist.tracks));
}

// The part of a path behind "media:/": the name of a list and, if there is a slash, what follows.
struct Place {
    explicit Place(const QString& rest)
        : list(rest.section('/', 0, 0)), isBelow(rest.contains('/')), below(rest.section('/', 1)) {}

    bool is(const char* name) const { return list == QLatin1String(name); }

    QString list;
    bool isBelow;
    QString below;
};

std::optional<List> top(const MediaCatalogue& catalogue, const Place& place) {
    if (place.list.isEmpty())
        return all(catalogue);
    if (place.is("albums"))
        return groups(catalogue, catalogue.albums().order, CatalogueRoles::album);
    if (place.is("artists"))
        return groups(catalogue, catalogue.artists().order, CatalogueRoles::artist);
    if (place.is("genres"))
        return groups(catalogue, catalogue.genres().order, CatalogueRoles::genre);
    if (place.is("recent"))
        return tracks(catalogue, catalogue.recent());
    if (place.is("folders"))
        return folders(catalogue, catalogue.folders().value({}));
    if (place.is("stations"))
        return things(catalogue.stations(), CatalogueRoles::stationRow);
    return std::nullopt;
}

// Null when the hash does not have the key.
template <typename Hash>
auto lookUp(const Hash& hash, const typename Hash::key_type& key) {
    const auto found = hash.constFind(key);
    return found == hash.constEnd() ? nullptr : &*found;
}

std::optional<List> below(const MediaCatalogue& catalogue, const Place& place) {
    if (place.is("search"))
        return found(catalogue, place.below);
    if (place.is("albums")) {
        if (const auto* album = lookUp(catalogue.albums().byId, place.below))
            return tracks(catalogue, album->tracks);
    } else if (place.is("artists")) {
        if (const auto* entry = lookUp(catalogue.artists().byId, place.below))
            return artist(catalogue, *entry);
    } else if (place.is("genres")) {
        if (const auto* genre = lookUp(catalogue.genres().byId, place.below))
            return tracks(catalogue, genre->tracks);
    } else if (place.is("folders")) {
        if (const auto* folder = lookUp(catalogue.folders(), FileNames::toBytes(place.below)))
            return folders(catalogue, *folder);
    }
    return std::nullopt;
}

QVariantHash nodeBelow(const MediaCatalogue& catalogue, const Place& place) {
    const QString& id = place.below;
    if (place.is("albums") && catalogue.albums().byId.contains(id))
        return CatalogueRoles::album(catalogue, id);
    if (place.is("artists") && catalogue.artists().byId.contains(id))
        return CatalogueRoles::artist(catalogue, id);
    if (place.is("genres") && catalogue.genres().byId.contains(id))
        return CatalogueRoles::genre(catalogue, id);
    if (place.is("folders") && catalogue.folders().contains(FileNames::toBytes(id)))
        return CatalogueRoles::folder(FileNames::toBytes(id));
    if (place.is("search"))
        return CatalogueRoles::container(id, CatalogueRoles::path(QStringLiteral("search/") + id));
    if (place.is("stations")) {
        for (const Station& station : catalogue.stations()) {
            if (station.id() == id)
                return CatalogueRoles::stationNode(station);
        }
    }
    return {};
}

} // namespace

QString CatalogueLists::root() {
    return CatalogueRoles::path({});
}

QVector<QPair<QString, QString>> CatalogueLists::titles() {
    return {{QStringLiteral("albums"), QStringLiteral("Albums")},
            {QStringLiteral("artists"), QStringLiteral("Artists")},
            {QStringLiteral("genres"), QStringLiteral("Genres")},
            {QStringLiteral("recent"), QStringLiteral("Recently added")},
            {QStringLiteral("folders"), QStringLiteral("Folders")},
            {QStringLiteral("stations"), QStringLiteral("Radio")}};
}

std::optional<List> CatalogueLists::find(const MediaCatalogue& catalogue, const QString& path) {
    if (!path.startsWith(root()))
        return std::nullopt;
    const Place place(path.mid(root().size()));
    return place.isBelow ? below(catalogue, place) : top(catalogue, place);
}

QVariantHash CatalogueLists::node(const MediaCatalogue& catalogue, const QString& path) {
    if (!path.startsWith(root()))
        return {};
    const QString rest = path.mid(root().size());
    const int index = catalogue.find(FileNames::toBytes(rest));
    return index >= 0 ? CatalogueRoles::track(catalogue, index) : nodeBelow(catalogue, Place(rest));
}
