#pragma once

#include "core/model/cmnodesworker.h"
#include "playbackclock.h"
#include "playertrack.h"

#include <QTimer>

#include <functional>
#include <optional>

// A simulated player: it plays the tracks of the media worker by the clock, without sound.
//
//   player:player/state     "stopped", "playing", "paused"
//   player:player/volume    0 to 100; mute: a boolean; both are only stored
//   player:player/position  milliseconds; exact when it is read, announced at jumps, when the state
//                           changes and every ten seconds while a track is played
//   player:player/progress  {"position": milliseconds, "time": when that was so, in milliseconds
//                           since 1970 by the device's clock, "running": whether it goes on};
//                           announced and read like the position
//   player:player/duration  milliseconds; 0 when unknown or endless
//   player:player/track     {title, artist, path, cover, duration, id} of the current track;
//                           its role description has title and artist as one text
//   player:queue            rows: the queue, with the roles of its tracks, and each with an id,
//                           which stays with the row and is never given to another one
//
// Nodes that perform an action when their role `activate` is written, and answer with the state:
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
// ROW is {"id": ID}, or {"index": N} for those who have just read the list. A place is "after": the
// id of the row before it, empty for the beginning; or an index ("toIndex" when moving). Any
// command may have the "version" of the list that it was made for; it is refused when the list is
// another.
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
    // What can be restored: more than anybody takes back step by step.
    static constexpr int maximumRemovals = 16;

    explicit PlayerWorker(const QVariantHash& config);

    void getDataRequest(const CMGetDataRequest& request) override;
    void setDataRequest(const CMSetDataRequest& request) override;

private Q_SLOTS:
    void on_mediaRows_changed();
    void on_trackEnd_timeout();

private:
    enum class State { Stopped, Playing, Paused };
    // What one command took out of the queue.
    struct Removal {
        int index;
        QVector<PlayerTrack> tracks;
        // The current row before.
        int current;
    };
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
    void restore(const QVariant& argument, const Reply& reply);
    void succeed(const Reply& reply) const;
    // Empty, with the error set, when the argument names no row of the queue as it is now.
    std::optional<int> rowNamed(const QVariant& argument, CMError* error) const;
    // The index of a new row, the end when nothing is said, or of a row that is moved; empty, with
    // the error set, when there is no such place.
    std::optional<int> placeNamed(const QVariant& argument, CMError* error) const;
    std::optional<int> targetNamed(const QVariant& argument, int from, CMError* error) const;
    std::optional<int> placeBehind(const QVariant& id, CMError* error) const;
    bool isForThisVersion(const QVariant& argument, CMError* error) const;
    int indexOf(const QString& id) const;
    QString newId();

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
    void remember(int index, const QVector<PlayerTrack>& tracks);
    void putBack(const Removal& removal);

    // Makes the row current and starts at its beginning; stops for -1, which means no row.
    void select(int index, State state);
    void showTrack();
    void setState(State state);
    void seekTo(qint64 position);
    void endTrack();
    void armEndTimer();
    void publishPosition();
    PlixValue positionValue() const;
    QVariantHash progressRecord() const;
    // 0 when unknown, or when there is no track.
    qint64 currentDuration() const;

    QVector<PlayerTrack> m_queue;
    // The latest last.
    QVector<Removal> m_removals;
    // Different at every start, so that a client which missed it names no other row.
    const QString m_idPrefix;
    qint64 m_lastId = 0;
    // -1 when there is none.
    int m_current = -1;
    State m_state = State::Stopped;
    PlaybackClock m_clock;
    QTimer m_tick;
    QTimer m_trackEnd;
    // Whether the queue is to be filled with the tracks of the media worker.
    bool m_awaitsMedia = true;
};
