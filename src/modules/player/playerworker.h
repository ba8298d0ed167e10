// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmnodesworker.h"
#include "player.h"
#include "playerstore.h"
#include "playlists/playlists.h"
#include "playqueue.h"
#include "queuecommands.h"
#include "trackcollector.h"

#include <QTimer>

// The player of the device. playernodes.h lists the nodes that show what it does. These perform an
// action when their role `activate` is written, and answer with the state:
//
//   player:player/play      nothing, true or {}: resumes, or starts at the current row;
//                           {"path": PATH} or a text: that track now, which joins the end of the
//                           queue if it is not in it; ROW: that row
//   player:player/pause, stop, next, previous
//                           previous begins the current track again once three seconds of it have
//                           been played; next behind the last row stops
//   player:player/seek      milliseconds, within the track
//   player:queue/insert     {"path": PATH} of a track or of a container, which stands for all
//                           tracks in it, and a place; without one at the end
//   player:queue/load       {"path": PATH, "from": PATH, "play": BOOL}: these tracks replace the
//                           queue, and are played, beginning with the track `from`
//   player:queue/remove     ROW
//   player:queue/move       ROW and a place
//   player:queue/clear
//   player:queue/restore    {"id": ID}: what was removed with that row comes back to where it stood
//
// queuecommands.h tells what a ROW and a place are, playlists.h has the nodes of playlists.
//
// The queue starts with the rows that the configuration gives it, otherwise with the tracks that
// come with the device as soon as there are any, unless a client has changed it before. A folder of
// one's own is a library, of which people choose what they want to hear: the queue is empty then.
// A queue that a client has changed is kept when the device restarts; so are the volume, the modes,
// the current row and the position in it. What was playing rests then.
//
// Configuration: "nodes"; "stateDir", the state directory; "overrides", the paths whose configured
// values have precedence over kept ones.
class PlayerWorker : public CMNodesWorker {
    Q_OBJECT

public:
    explicit PlayerWorker(const QVariantHash& config);
    ~PlayerWorker() override;

    void getDataRequest(const CMGetDataRequest& request) override;
    void getRowsRequest(const CMGetRowsRequest& request) override;
    void setDataRequest(const CMSetDataRequest& request) override;

protected:
    void stored(const QString& path, const QString& role, const QVariant& value) override;

private Q_SLOTS:
    void on_mediaRows_changed();
    void on_replayGain_changed(const PlixValue& value);

private:
    using Reply = CMReply<QVariant>;
    using Action = void (PlayerWorker::*)(const QVariant& argument, const Reply& reply);
    using PlayerAction = void (Player::*)();
    using QueueAction = CMError (QueueCommands::*)(const QVariant& argument) const;

    static const QHash<QString, Action>& actions();
    void play(const QVariant& argument, const Reply& reply);
    void playPath(const QString& path, const Reply& reply);
    void seek(const QVariant& argument, const Reply& reply);
    void insert(const QVariant& argument, const Reply& reply);
    void load(const QVariant& argument, const Reply& reply);
    template <PlayerAction action>
    void act(const QVariant& argument, const Reply& reply);
    void savePlaylist(const QVariant& argument, const Reply& reply);
    template <void (Playlists::*action)(const QVariant& argument, const Reply& reply)>
    void changePlaylist(const QVariant& argument, const Reply& reply);
    template <QueueAction action>
    void change(const QVariant& argument, const Reply& reply);
    void succeed(const Reply& reply) const;
    void finishChange(const CMError& error, const Reply& reply);
    void claimQueue();

    void showPosition();
    void showState();
    void useMediaTracks(const QVector<PlayerTrack>& tracks);

    void restoreValues(const QStringList& overrides);
    void restorePlace();
    void applyValues();
    void keepLater();
    void keep();

    PlayerStore m_store;
    QVariantHash m_restored;
    PlayQueue m_queue;
    QueueCommands m_commands;
    TrackCollector m_collector;
    Playlists m_playlists;
    Player m_player;
    QTimer m_tick;
    QTimer m_keep;
    QTimer m_keepTick;
    // The volume of the settings.
    QVariant m_volumeAtStart;
    // Whether the queue is to be filled with the tracks of the media worker.
    bool m_awaitsMedia;
    // Whether a client has made the queue what it is, so that it is kept; and what is not yet.
    bool m_isClaimed = false;
    bool m_isQueueChanged = false;
};
