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
    virtual void play() = 0;
    virtual void pause() = 0;
    // Pauses and drops the track. The position is 0 afterwards.
    virtual void stop() = 0;
    virtual void seek(qint64 position) = 0;
    // The present track has this length; 0 when it is unknown or endless.
    virtual void setDuration(qint64 duration) = 0;

    virtual qint64 position() const = 0;
    // Whether the position is growing.
    virtual bool isRunning() const = 0;

Q_SIGNALS:
    // The track has been played to its end.
    void ended();
};
