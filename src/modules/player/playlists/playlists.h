// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmnodesworker.h"
#include "playlistfolder.h"

// The nodes of the player's playlists, and the commands for them.
//
//   player:playlists         rows: the playlists, with their sizes as description
//   player:playlists/ID      rows: the tracks, with the roles of the queue's rows but the id
//   player:playlists/save    {"title": TEXT, "replace": BOOL}: the queue
//   player:playlists/rename  {"path": PATH, "title": TEXT}
//   player:playlists/remove  {"path": PATH}
//
// Commands answer with the playlist's path.
class Playlists : public QObject {
    Q_OBJECT

public:
    // Of one answer. Each has to be read from its file, and looked up.
    static constexpr int maximumRows = 1000;

    // The worker must outlive the playlists. `folder` is where their files are; empty for none.
    Playlists(CMNodesWorker* worker, const QString& folder, const QString& musicFolder);

    // Whether these are rows of a playlist, or of none that there is.
    bool hasRows(const QString& path) const;
    // Answered when the tracks' workers have answered.
    void getRows(const CMGetRowsRequest& request);

    using Reply = CMReply<QVariant>;
    void save(const QVariant& argument, const QVector<PlayerTrack>& queue, const Reply& reply);
    void rename(const QVariant& argument, const Reply& reply);
    void remove(const QVariant& argument, const Reply& reply);

    // The titles, covers and paths of tracks may be others now.
    void announceTracks();

private:
    const PlaylistFolder::Playlist* named(const QVariant& argument, CMError* error) const;
    void finish(const QString& error, const QString& title, const Reply& reply) const;
    void showAll();

    CMNodesWorker* m_worker;
    PlaylistFolder m_folder;
    // The paths of the nodes.
    QStringList m_shown;
    // Of the rows of all playlists.
    qint64 m_version = 1;
};
