// SPDX-License-Identifier: MIT
#pragma once

#include "playbackclock.h"
#include "playerengine.h"

#include <QTimer>

// Plays without sound: the clock tells the position, and the end of a track of known length.
class ClockEngine : public PlayerEngine {
    Q_OBJECT

public:
    ClockEngine();

    void load(const PlayerTrack& track, qint64 position) override;
    void play() override;
    void pause() override;
    void stop() override;
    void seek(qint64 position) override;
    void setDuration(qint64 duration) override;
    qint64 position() const override { return m_clock.position(); }
    bool isRunning() const override { return m_clock.isRunning(); }

private:
    void on_trackEnd_timeout();
    void armEndTimer();

    qint64 m_duration = 0;
    PlaybackClock m_clock;
    QTimer m_trackEnd;
};
