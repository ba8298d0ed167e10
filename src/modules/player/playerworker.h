#pragma once

#include "core/model/cmnodesworker.h"
#include "playbackclock.h"
#include "playertrack.h"

#include <QTimer>

#include <functional>

// A simulated player: it plays the tracks of the media worker by the clock, without sound.
//
//   player:player/state     "stopped", "playing", "paused"
//   player:player/volume    0 to 100; mute: a boolean; both are only stored
//   player:player/position  milliseconds; exact when it is read, announced four times a second
//   player:player/duration  milliseconds; 0 when unknown or endless
//   player:player/track     {title, artist, path, cover, duration} of the current track
//   player:queue            rows: the queue, with the roles of its tracks
//
// Nodes that perform an action when their role `activate` is written, and answer with the state:
//
//   player:player/play      nothing, true or {}: resumes, or starts at the current row;
//                           {"path": PATH} or a text: that track now, which joins the end of the
//                           queue if it is not in it; {"index": N}: that row
//   player:player/pause, stop, next, previous
//                           previous begins the current track again once three seconds of it have
//                           been played; next behind the last row stops
//   player:player/seek      milliseconds, within the track
//   player:queue/insert     {"path": PATH, "index": N}; without index at the end
//   player:queue/remove     {"index": N}
//   player:queue/move       {"index": N, "toIndex": M}
//   player:queue/clear
//
// At the end of a track the next row is played; behind the last one the player stops. When the
// current row is removed, the row that takes its place becomes current in the same state.
//
// The queue starts with the rows that the configuration gives it, otherwise with the tracks of the
// media worker as soon as there are any, unless a client has changed it before.
class PlayerWorker : public CMNodesWorker {
    Q_OBJECT

public:
    // Limits the memory that clients can use.
    static constexpr int maximumQueueRows = 10000;

    explicit PlayerWorker(const QVariantHash& config);

    void getDataRequest(const CMGetDataRequest& request) override;
    void setDataRequest(const CMSetDataRequest& request) override;

private Q_SLOTS:
    void on_mediaRows_changed();
    void on_trackEnd_timeout();

private:
    enum class State { Stopped, Playing, Paused };
    using Reply = CMReply<QVariant>;
    using Action = void (PlayerWorker::*)(const QVariant& argument, const Reply& reply);

    static const QHash<QString, Action>& actions();
    void play(const QVariant& argument, const Reply& reply);
    void pause(const QVariant& argument, const Reply& reply);
    void stop(const QVariant& argument, const Reply& reply);
    void next(const QVariant& argument, const Reply& reply);
    void previous(const QVariant& argument, const Reply& reply);
    void seek(const QVariant& argument, const Reply& reply);
    void insert(const QVariant& argument, const Reply& reply);
    void remove(const QVariant& argument, const Reply& reply);
    void move(const QVariant& argument, const Reply& reply);
    void clear(const QVariant& argument, const Reply& reply);
    void succeed(const Reply& reply) const;

    void provideNodes();
    void provide(const QString& path, const QVariantHash& roles);
    void readConfiguredQueue();
    void fillQueue(const QVector<PlayerTrack>& tracks);
    void learnDurations(const QVector<PlayerTrack>& tracks);

    // Reads the track from the worker of the path; fails the reply when there is none.
    void findTrack(const QString& path, const Reply& reply,
                   const std::function<void(const PlayerTrack&)>& found);
    void playTrack(const PlayerTrack& track, const Reply& reply);
    bool insertTrack(int index, const PlayerTrack& track, const Reply& reply);
    void removeTrack(int index);

    // Makes the row current and starts at its beginning; stops for -1, which means no row.
    void select(int index, State state);
    void showTrack();
    void setState(State state);
    void seekTo(qint64 position);
    void endTrack();
    void armEndTimer();
    void publishPosition();
    PlixValue positionValue() const;
    // 0 when unknown, or when there is no track.
    qint64 currentDuration() const;

    QVector<PlayerTrack> m_queue;
    // -1 when there is none.
    int m_current = -1;
    State m_state = State::Stopped;
    PlaybackClock m_clock;
    QTimer m_tick;
    QTimer m_trackEnd;
    // Whether the queue is to be filled with the tracks of the media worker.
    bool m_awaitsMedia = true;
};
