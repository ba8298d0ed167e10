// SPDX-License-Identifier: MIT
#pragma once

#include "playertrack.h"

#include <QObject>

// What plays the tracks that the player chooses, one at a time. Positions are in milliseconds.
//
// An engine begins without a track. All calls return at once; what follows from them is told by the
// signals, none of which is sent during a call.
class PlayerEngine : public QObject {
    Q_OBJECT

public:
    // Replaces the present track by another one, at the position. Whether it plays or rests stays
    // as it is.
    virtual void load(const PlayerTrack& track, qint64 position) = 0;
    // What is to follow the present track without a gap; nothing when the track has no id. An
    // engine that cannot do so ends the present one.
    virtual void prepare(const PlayerTrack& track) { Q_UNUSED(track) }
    virtual void play() = 0;
    virtual void pause() = 0;
    // Pauses and drops the track. The position is 0 afterwards.
    virtual void stop() = 0;
    virtual void seek(qint64 position) = 0;
    // The present track has this length; 0 when it is unknown or endless.
    virtual void setDuration(qint64 duration) { Q_UNUSED(duration) }

    // 0 to 100.
    virtual void setVolume(int percent) { Q_UNUSED(percent) }
    virtual void setMute(bool isMute) { Q_UNUSED(isMute) }
    // "off", "track" or "album".
    virtual void setReplayGain(const QString& mode) { Q_UNUSED(mode) }

    virtual qint64 position() const = 0;
    // Whether the position is growing.
    virtual bool isRunning() const = 0;

Q_SIGNALS:
    // The track has been played to its end, and nothing follows.
    void ended();
    // The prepared track is the present one, and is being played.
    void followed();
    // The track is heard, for the first time since it was loaded or has been interrupted.
    void sounded();
    // The position is not where counting on from the last one leads, or it runs or stands.
    void moved();
    void durationFound(qint64 duration);
    // What a stream says that it plays at the moment.
    void titleFound(const QString& title);
    // The track does not go on at the moment, which the engine tries to change; the reason in plain
    // words.
    void interrupted(const QString& reason);
    // The track is not played, or not any further, for the reason in plain words. Whether the
    // track is to blame, or none could be played.
    void failed(const QString& reason, bool isTracksFault);
};
