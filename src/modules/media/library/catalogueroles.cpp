#include "catalogueroles.h"

#include "core/model/cmroles.h"
#include "core/plixvalue.h"
#include "filenames.h"

namespace {

QVariant textRecord(const QString& text) {
    PlixValue value;
    value.setString_(text);
    return value.__variant();
}

QString coverPath(const QByteArray& name) {
    return CatalogueRoles::path(QStringLiteral("covers/") + FileNames::toText(name));
}

// Roles beyond those that every node has: only those that are known.
void addTags(const LibraryTrack& track, QVariantHash* roles) {
    const auto addText = [&](const char* name, const QString& text) {
        if (!text.isEmpty())
            roles->insert(QLatin1String(name), text);
    };
    const auto addNumber = [&](const char* name, int number) {
        if (number > 0)
            roles->insert(QLatin1String(name), number);
    };
    const auto addDecimal = [&](const char* name, const std::optional<double>& number) {
        if (number)
            roles->insert(QLatin1String(name), *number);
    };
    addText("album", track.album);
    addText("albumArtist", track.albumArtist);
    addText("genre", track.genre);
    addNumber("year", track.year);
    addNumber("track", track.track);
    addNumber("disc", track.disc);
    addDecimal("trackGain", track.trackGain);
    addDecimal("trackPeak", track.trackPeak);
    addDecimal("albumGain", track.albumGain);
    addDecimal("albumPeak", track.albumPeak);
}

QVariantHash station(const Station& station, const QString& value) {
    QVariantHash roles{
        {PlixRoles::Title(), station.title},
        {PlixRoles::Type(), QStringLiteral("audio")},
        {PlixRoles::Modifiable(), false},
        {PlixRolesType::Value(), textRecord(value)},
    };
    if (!station.picture.isEmpty())
        roles.insert(PlixRoles::Icon(), station.picture);
    if (station.isInternal)
        roles.insert(PlixRoles::Internal(), true);
    return roles;
}

} // namespace

QString CatalogueRoles::path(const QString& rest) {
    return QStringLiteral("media:/") + rest;
}

QVariantHash CatalogueRoles::track(const MediaCatalogue& catalogue, int index) {
    const LibraryTrack& track = catalogue.track(index);
    QVariantHash roles{
        {PlixRoles::Title(), track.title},
        {PlixRoles::Type(), QStringLiteral("audio")},
        {PlixRoles::Description(), track.artist},
        {PlixRoles::Modifiable(), false},
        {PlixRolesType::Value(), textRecord(path(FileNames::toText(track.path)))},
    };
    if (track.durationMs > 0)
        roles.insert(PlixRoles::Maximum(), track.durationMs);
    const QByteArray cover = catalogue.cover(index);
    if (!cover.isEmpty())
        roles.insert(PlixRoles::Icon(), coverPath(cover));
    addTags(track, &roles);
    return roles;
}

QVariantHash CatalogueRoles::album(const MediaCatalogue& catalogue, const QString& id) {
    const MediaCatalogue::Album& album = *catalogue.albums().byId.constFind(id);
    QVariantHash roles = container(album.title, path(QStringLiteral("albums/") + id));
    roles.insert(PlixRoles::Description(), album.artist);
    const int first = album.tracks.first();
    const QByteArray cover = catalogue.cover(first);
    if (!cover.isEmpty())
        roles.insert(PlixRoles::Icon(), coverPath(cover));
    if (catalogue.track(first).year > 0)
        roles.insert(QStringLiteral("year"), catalogue.track(first).year);
    return roles;
}

QVariantHash CatalogueRoles::artist(const MediaCatalogue& catalogue, const QString& id) {
    return container(catalogue.artists().byId.value(id).name,
                     path(QStringLiteral("artists/") + id));
}

QVariantHash CatalogueRoles::genre(const MediaCatalogue& catalogue, const QString& id) {
    return container(catalogue.genres().byId.value(id).name, path(QStringLiteral("genres/") + id));
}

QVariantHash CatalogueRoles::folder(const QByteArray& folder) {
    return container(FileNames::toText(FileNames::nameOf(folder)),
                     path(QStringLiteral("folders/") + FileNames::toText(folder)));
}

QVariantHash CatalogueRoles::stationRow(const Station& row) {
    return station(row, path(QStringLiteral("stations/") + row.id()));
}

QVariantHash CatalogueRoles::stationNode(const Station& node) {
    return station(node, node.url);
}

QVariantHash CatalogueRoles::container(const QString& title, const QString& path) {
    return {
        {PlixRoles::Title(), title},
        {PlixRoles::Type(), QStringLiteral("container")},
        {PlixRoles::Modifiable(), false},
        {PlixRolesType::Value(), textRecord(path)},
    };
}
