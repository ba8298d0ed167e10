// SPDX-License-Identifier: MIT
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

QVariant ifKnown(const QString& text) {
    return text.isEmpty() ? QVariant() : QVariant(text);
}

QVariant ifKnown(qint64 number) {
    return number > 0 ? QVariant(number) : QVariant();
}

QVariant ifKnown(const std::optional<double>& number) {
    return number ? QVariant(*number) : QVariant();
}

QVariant coverOf(const MediaCatalogue& catalogue, int index) {
    const QByteArray cover = catalogue.cover(index);
    return cover.isEmpty() ? QVariant() : QVariant(coverPath(cover));
}

using Catalogue = const MediaCatalogue&;
using RoleOfTrack = QVariant (*)(Catalogue, int index);

const QHash<QString, RoleOfTrack>& rolesOfTrack() {
    static const QHash<QString, RoleOfTrack> roles{
        {PlixRoles::Title(), [](Catalogue c, int i) { return QVariant(c.track(i).title); }},
        {PlixRoles::Type(), [](Catalogue, int) { return QVariant(QStringLiteral("audio")); }},
        {PlixRoles::Description(), [](Catalogue c, int i) { return QVariant(c.track(i).artist); }},
        {PlixRoles::Modifiable(), [](Catalogue, int) { return QVariant(false); }},
        {PlixRolesType::Value(),
         [](Catalogue c, int i) {
             return textRecord(CatalogueRoles::path(FileNames::toText(c.track(i).path)));
         }},
        {PlixRoles::Maximum(), [](Catalogue c, int i) { return ifKnown(c.track(i).durationMs); }},
        {PlixRoles::Icon(), coverOf},
        {"album", [](Catalogue c, int i) { return ifKnown(c.track(i).album); }},
        {"albumArtist", [](Catalogue c, int i) { return ifKnown(c.track(i).albumArtist); }},
        {"genre", [](Catalogue c, int i) { return ifKnown(c.track(i).genre); }},
        {"year", [](Catalogue c, int i) { return ifKnown(c.track(i).year); }},
        {"track", [](Catalogue c, int i) { return ifKnown(c.track(i).track); }},
        {"disc", [](Catalogue c, int i) { return ifKnown(c.track(i).disc); }},
        {"trackGain", [](Catalogue c, int i) { return ifKnown(c.track(i).trackGain); }},
        {"trackPeak", [](Catalogue c, int i) { return ifKnown(c.track(i).trackPeak); }},
        {"albumGain", [](Catalogue c, int i) { return ifKnown(c.track(i).albumGain); }},
        {"albumPeak", [](Catalogue c, int i) { return ifKnown(c.track(i).albumPeak); }},
    };
    return roles;
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
    QVariantHash roles;
    const auto& all = rolesOfTrack();
    for (auto role = all.cbegin(); role != all.cend(); ++role) {
        const QVariant value = (*role)(catalogue, index);
        if (value.isValid())
            roles.insert(role.key(), value);
    }
    return roles;
}

QVariantList CatalogueRoles::track(const MediaCatalogue& catalogue, int index,
                                   const QStringList& roles) {
    QVariantList values;
    values.reserve(roles.size());
    for (const QString& name : roles) {
        const RoleOfTrack role = rolesOfTrack().value(name);
        values.append(role ? role(catalogue, index) : QVariant());
    }
    return values;
}

QVariantHash CatalogueRoles::album(const MediaCatalogue& catalogue, const QString& id) {
    const MediaCatalogue::Album& album = *catalogue.albums().byId.constFind(id);
    QVariantHash roles = container(album.title, path(QStringLiteral("albums/") + id));
    roles.insert(PlixRoles::Description(), album.artist);
    const int first = album.tracks.first();
    const QVariant cover = coverOf(catalogue, first);
    if (cover.isValid())
        roles.insert(PlixRoles::Icon(), cover);
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
