#pragma once

#include "core/model/cmnodesworker.h"
#include "playqueue.h"
#include "queuecommands.h"

#include <QTimer>

#include <memory>

class PlayerEngine;

// The player: it plays the tracks of its queue one after another with an engine. playernodes.h
// lists the nodes that show what it does. These perform an action when their role `activate` is
// written, and answer with the state:
//
//   player:player/play      nothing, true or {}: resumes, or starts at the current row;
//                           {"path": PATH} or a text: that track now, which joins the end of the
//                           queue if it is not in it; ROW: that row
//   player:player/pause, stop, next, previous
//                           previous begins the current track again once three seconds of it have
//                           been played; next behind the last row stops
//   player:player/seek      milliseconds, within the track
//   player:queue/insert     {"path": PATH} and a place; without one at the end
//   player:queue/remove     ROW
//   player:queue/move       ROW and a place
//   player:queue/clear
//   player:queue/restore    {"id": ID}: what was removed with that row comes back to where it stood
//
// queuecommands.h tells what a ROW and a place are.
//
// At the end of a track the next row is played; behind the last one the player stops. When the
// current row is removed, the row that takes its place becomes current in the same state.
//
// The queue starts with the rows that the configuration gives it, otherwise with the tracks of the
// media worker as soon as there are any, unless a client has changed it before.
class PlayerWorker : public CMNodesWorker {
    Q_OBJECT

public:
    explicit PlayerWorker(const QVariantHash& config);
    ~PlayerWorker() override;

    void getDataRequest(const CMGetDataRequest& request) override;
    void setDataRequest(const CMSetDataRequest& request) override;

private Q_SLOTS:
    void on_mediaRows_changed();

private:
    enum class State { Stopped, Playing, Paused };
    using Reply = CMReply<QVariant>;
    using Action = void (PlayerWorker::*)(const QVariant& argument, const Reply& reply);
    using QueueAction = CMError (QueueCommands::*)(const QVariant& argument) const;

    static const QHash<QString, Action>& actions();
    void play(const QVariant& argument, const Reply& reply);
    void pause(const QVariant& argument, const Reply& reply);
    void stop(const QVariant& argument, const Reply& reply);
    void next(const QVariant& argument, const Reply& reply);
    void previous(const QVariant& argument, const Reply& reply);
    void seek(const QVariant& argument, const Reply& reply);
    void insert(const QVariant& argument, const Reply& reply);
    template <QueueAction action>
    void change(const QVariant& argument, const Reply& reply);
    void succeed(const Reply& reply) const;
    void finishChange(const CMError& error, const Reply& reply);

    void playPath(const QString& path, const Reply& reply);
    void useMediaTracks(const QVector<PlayerTrack>& tracks);

    void on_queue_currentReplaced(bool follows);
    void on_engine_ended();
    // Makes the row current and starts at its beginning; stops for -1, which means no row.
    void select(int index, State state);
    void setState(State state);
    void endTrack();
    void publishPosition();
    qint64 position() const;
    // 0 when unknown, or when there is no track.
    qint64 currentDuration() const;

    PlayQueue m_queue;
    QueueCommands m_commands;
    std::unique_ptr<PlayerEngine> m_engine;
    State m_state = State::Stopped;
    QTimer m_tick;
    // Whether the queue is to be filled with the tracks of the media worker.
    bool m_awaitsMedia;
};
