// SPDX-License-Identifier: MIT
#include "playlists.h"

#include "core/model/cmchangenotifier.h"
#include "core/model/cmroles.h"
#include "core/model/cmvalues.h"
#include "core/plixconnect.h"
#include "core/plixhost.h"
#include "playerarguments.h"
#include "trackresolver.h"

#include <algorithm>

namespace {

const QString listPath = QStringLiteral("player:playlists");
const QString playlistPrefix = QStringLiteral("player:playlists/");
const QString titleName = QStringLiteral("title");

QString pathOf(const PlaylistFolder::Playlist& playlist) {
    return playlistPrefix + playlist.id;
}

QVariantHash rolesOf(const PlaylistFolder::Playlist& playlist) {
    return {{PlixRoles::Title(), playlist.title},
            {PlixRoles::Type(), QStringLiteral("container")},
            {PlixRoles::Description(), playlist.size},
            {PlixRolesType::Value(), PlixValue::fromScalar(pathOf(playlist)).__variant()},
            {PlixRoles::Modifiable(), false}};
}

QVariantList rowsOf(const QVector<PlayerTrack>& tracks, const QStringList& roles) {
    QVariantList rows;
    for (const PlayerTrack& track : tracks) {
        QVariantHash row = track.row();
        row.remove(PlayerTrack::idRole());
        QVariantList values;
        for (const QString& name : roles)
            values.append(row.value(name));
        rows.append(QVariant(values));
    }
    return rows;
}

std::optional<QString> titleIn(const QVariant& argument, CMError* error) {
    const auto text = PlayerArguments::text(PlayerArguments::member(argument, titleName));
    const auto title = text ? PlaylistTitle::fromText(*text) : std::nullopt;
    if (!text)
        *error = PlayerArguments::typeMismatch("\"title\" is to be a text");
    else if (!title)
        *error = PlayerArguments::outOfRange(
            "A title has 1 to 100 characters, and no control characters");
    return title;
}

CMError exists(const QString& title) {
    return CMError::fromName(QStringLiteral("exists"),
                             QStringLiteral("There is a playlist \"%1\" already").arg(title));
}

} // namespace

Playlists::Playlists(CMNodesWorker* worker, const QString& folder, const QString& musicFolder)
    : m_worker(worker), m_folder(folder, musicFolder) {
    m_worker->setNode(listPath, {{PlixRoles::Title(), QStringLiteral("Playlists")},
                                 {PlixRoles::Type(), QStringLiteral("container")},
                                 {PlixRoles::Modifiable(), false}});
    plixConnect(&m_folder, &PlaylistFolder::changed, this, &Playlists::showAll);
}

void Playlists::showAll() {
    ++m_version;
    QVector<QVariantHash> rows;
    QStringList shown;
    for (const PlaylistFolder::Playlist& playlist : m_folder.playlists()) {
        rows.append(rolesOf(playlist));
        shown.append(pathOf(playlist));
        m_worker->setNode(shown.last(), rows.last());
    }
    const QStringList before = std::exchange(m_shown, shown);
    for (const QString& path : before) {
        if (!m_shown.contains(path))
            m_worker->removeNode(path);
    }
    m_worker->setRows(listPath, rows);
    announceTracks();
}

void Playlists::announceTracks() {
    ++m_version;
    CMWorkerRegistry* const registry = plixWorkerRegistry();
    const auto watched = registry
                             ? registry->changeNotifier()->watchedPaths(QStringLiteral("player"))
                             : QVector<CMPath>();
    for (const CMPath& path : watched) {
        if (path.toEncoded().startsWith(playlistPrefix) && plixWorkerRegistry())
            plixWorkerRegistry()->changeNotifier()->rowsChanged(path, {});
    }
}

bool Playlists::hasRows(const QString& path) const {
    return m_shown.contains(path);
}

void Playlists::getRows(const CMGetRowsRequest& request) {
    if (request.version != -1 && request.version != m_version)
        return request.reply.fail(
            CMError::fromName(CMErrorNames::versionMismatch(),
                              QStringLiteral("The list has version %1").arg(m_version)));
    const PlaylistFile file =
        m_folder.read(*m_folder.find(request.path.toEncoded().mid(playlistPrefix.size())));
    const qint64 first = std::max(request.from, 0);
    const qint64 end = std::min<qint64>({file.size(), first + maximumRows, qint64(request.to) + 1});
    QVector<PlayerTrack> tracks;
    for (qint64 i = first; i < end; ++i)
        tracks.append(file.track(int(i)));
    TrackResolver::resolve(
        tracks, this,
        [request, count = file.size(), version = m_version](const QVector<PlayerTrack>& now) {
            PlixRowsRoles rows;
            rows.setRows(rowsOf(now, request.roles));
            rows.setCount(count);
            rows.setVersion(version);
            request.reply.finish(rows);
        });
}

// Commands.

const PlaylistFolder::Playlist* Playlists::named(const QVariant& argument, CMError* error) const {
    const auto path = PlayerArguments::name(argument, QStringLiteral("path"), error);
    if (!path)
        return nullptr;
    const PlaylistFolder::Playlist* playlist = path->startsWith(playlistPrefix)
                                                   ? m_folder.find(path->mid(playlistPrefix.size()))
                                                   : nullptr;
    if (!playlist)
        *error = CMError::fromName(CMErrorNames::nodeNotFound(),
                                   QStringLiteral("There is no playlist \"%1\"").arg(*path));
    return playlist;
}

void Playlists::finish(const QString& error, const QString& title, const Reply& reply) const {
    const PlaylistFolder::Playlist* const playlist = m_folder.findTitle(title);
    if (!error.isEmpty() || !playlist)
        return reply.fail(CMError::fromMessage(error));
    reply.finish(PlixValue::fromScalar(pathOf(*playlist)).__variant());
}

void Playlists::save(const QVariant& argument, const QVector<PlayerTrack>& queue,
                     const Reply& reply) {
    CMError error;
    const auto title = titleIn(argument, &error);
    const QVariant replaces =
        CMValues::scalar(PlayerArguments::member(argument, QStringLiteral("replace")));
    if (title && replaces.isValid() && replaces.userType() != QMetaType::Bool)
        error = PlayerArguments::typeMismatch("\"replace\" is to be true or false");
    else if (title && !replaces.toBool() && m_folder.findTitle(*title))
        error = exists(*title);
    // Internal tracks must not be seen by clients.
    QVector<PlayerTrack> tracks;
    std::copy_if(queue.begin(), queue.end(), std::back_inserter(tracks),
                 [](const PlayerTrack& track) { return !track.isInternal; });
    if (!error && tracks.isEmpty())
        error = PlayerArguments::outOfRange("The queue is empty");
    if (error)
        return reply.fail(error);
    finish(m_folder.save(*title, tracks), *title, reply);
}

void Playlists::rename(const QVariant& argument, const Reply& reply) {
    CMError error;
    const auto title = titleIn(argument, &error);
    const PlaylistFolder::Playlist* playlist = title ? named(argument, &error) : nullptr;
    const PlaylistFolder::Playlist* other = title ? m_folder.findTitle(*title) : nullptr;
    if (playlist && other && other != playlist)
        error = exists(*title);
    if (error)
        return reply.fail(error);
    finish(m_folder.rename(playlist->id, *title), *title, reply);
}

void Playlists::remove(const QVariant& argument, const Reply& reply) {
    CMError error;
    const PlaylistFolder::Playlist* playlist = named(argument, &error);
    if (!playlist)
        return reply.fail(error);
    const QString path = pathOf(*playlist);
    const QString failure = m_folder.remove(playlist->id);
    if (!failure.isEmpty())
        return reply.fail(CMError::fromMessage(failure));
    reply.finish(PlixValue::fromScalar(path).__variant());
}
