// SPDX-License-Identifier: MIT
#pragma once

#include "playerengine.h"
#include "playorder.h"
#include "playqueue.h"

#include <memory>

// Plays the rows of a queue one after another with an engine.
//
// At the end of a track the next row is played, as repetition and shuffling have it; behind the
// last one it stops. A track that cannot be played is skipped; so are those behind it, up to some.
// It pauses when the engine could not play any.
// When the current row is removed, the row that takes its place becomes current in the same state.
class Player : public QObject {
    Q_OBJECT

public:
    enum class State { Stopped, Playing, Paused };
    // So many tracks one after another that cannot be played: their folder is gone, for example.
    static constexpr int maximumFailures = 10;

    // The queue must outlive the player.
    Player(PlayQueue* queue, std::unique_ptr<PlayerEngine> engine);
    ~Player() override;

    PlayerEngine& engine() { return *m_engine; }
    State state() const { return m_state; }
    // The current one, with what a stream says that it plays.
    PlayerTrack track() const;
    // In milliseconds, within the track.
    qint64 position() const;
    bool isRunning() const { return m_engine->isRunning(); }

    // The current row, from where it rests or from its beginning; the first one when none is
    // current. There must be rows.
    void play();
    void playRow(int index);
    // Replaces all rows and begins with the row at the index; -1 for the first one or, while it
    // shuffles, any.
    void load(const QVector<PlayerTrack>& tracks, int index, bool plays);
    void pause();
    void stop();
    void next();
    // Begins the current track again once some seconds of it have been played.
    void previous();
    void seek(qint64 position);
    // The row is current, at a position, and not played.
    void restore(int index, State state, qint64 position);

    void setRepeat(PlayOrder::Repeat repeat);
    void setShuffle(bool isOn);
    // For rows without a duration, by their paths, in milliseconds.
    void learnDurations(const QHash<QString, qint64>& durations);

Q_SIGNALS:
    void trackChanged();
    // At jumps, and when it starts to run or stops.
    void positionChanged();
    void stateChanged();
    // Why something is not played, in plain words; empty when that is over.
    void errorChanged(const QString& text);

private:
    void on_queue_changed();
    void on_queue_currentReplaced(bool follows);
    void on_engine_ended();
    void on_engine_followed();
    void on_engine_sounded();
    void on_engine_durationFound(qint64 duration);
    void on_engine_titleFound(const QString& title);
    void on_engine_interrupted(const QString& reason);
    void on_engine_failed(const QString& reason, bool isTracksFault);

    // Makes the row current; -1 means no row, and stops.
    void select(int index, State state, qint64 position = 0);
    void setState(State state);
    void advance(PlayOrder::Reason reason);
    void prepareNext();
    void tellError(const QString& reason);

    PlayQueue* m_queue;
    PlayOrder m_order;
    std::unique_ptr<PlayerEngine> m_engine;
    State m_state = State::Stopped;
    QString m_preparedId;
    QString m_streamTitle;
    // Since the last sound.
    int m_failures = 0;
    bool m_isInterrupted = false;
};
