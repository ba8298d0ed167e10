// SPDX-License-Identifier: MIT
#include "playertrack.h"

#include "core/model/cmroles.h"
#include "core/model/cmvalues.h"
#include "core/plixvalue.h"

QStringList PlayerTrack::roles() {
    return {PlixRolesType::Value(), PlixRoles::Title(),   PlixRoles::Description(),
            PlixRoles::Icon(),      PlixRoles::Maximum(), PlixRoles::Internal()};
}

PlayerTrack PlayerTrack::fromValues(const QVariantList& values) {
    PlayerTrack track;
    track.path = PlixValue(values.value(0).toHash()).string_();
    track.title = values.value(1).toString();
    track.artist = values.value(2).toString();
    track.cover = values.value(3).toString();
    track.durationMs = values.value(4).toLongLong();
    track.isInternal = CMValues::scalar(values.value(5)).toBool();
    return track;
}

QString PlayerTrack::idRole() {
    return QStringLiteral("id");
}

QVariantHash PlayerTrack::row() const {
    PlixValue value;
    value.setString_(path);
    QVariantHash roles{
        {idRole(), id},
        {PlixRoles::Title(), title},
        {PlixRoles::Type(), QStringLiteral("audio")},
        {PlixRoles::Description(), artist},
        {PlixRolesType::Value(), value.__variant()},
    };
    if (!cover.isEmpty())
        roles.insert(PlixRoles::Icon(), cover);
    if (durationMs > 0)
        roles.insert(PlixRoles::Maximum(), durationMs);
    if (isInternal)
        roles.insert(PlixRoles::Internal(), true);
    return roles;
}

QString PlayerTrack::line() const {
    if (isInternal || artist.isEmpty())
        return isInternal ? QString() : title;
    return title + QStringLiteral(" \u2013 ") + artist;
}

QVariantHash PlayerTrack::record() const {
    if (isInternal)
        return PlayerTrack().record();
    return {
        {QStringLiteral("title"), title},         {QStringLiteral("artist"), artist},
        {QStringLiteral("path"), path},           {QStringLiteral("cover"), cover},
        {QStringLiteral("duration"), durationMs}, {idRole(), id},
    };
}

QVariantHash PlayerTrack::kept() const {
    return {{QStringLiteral("path"), path},           {QStringLiteral("title"), title},
            {QStringLiteral("artist"), artist},       {QStringLiteral("cover"), cover},
            {QStringLiteral("duration"), durationMs}, {QStringLiteral("internal"), isInternal}};
}

PlayerTrack PlayerTrack::fromKept(const QVariantHash& members) {
    PlayerTrack track;
    track.path = members.value(QStringLiteral("path")).toString();
    track.title = members.value(QStringLiteral("title")).toString();
    track.artist = members.value(QStringLiteral("artist")).toString();
    track.cover = members.value(QStringLiteral("cover")).toString();
    track.durationMs = members.value(QStringLiteral("duration")).toLongLong();
    track.isInternal = members.value(QStringLiteral("internal")).toBool();
    return track;
}
