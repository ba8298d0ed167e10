// SPDX-License-Identifier: MIT
#include "clockengine.h"

#include "core/plixconnect.h"

#include <algorithm>
#include <climits>

ClockEngine::ClockEngine() {
    m_trackEnd.setSingleShot(true);
    m_trackEnd.setTimerType(Qt::PreciseTimer);
    plixConnect(&m_trackEnd, &QTimer::timeout, this, &ClockEngine::on_trackEnd_timeout);
}

void ClockEngine::load(const PlayerTrack& track, qint64 position) {
    m_duration = track.durationMs;
    seek(position);
}

void ClockEngine::play() {
    m_clock.run();
    armEndTimer();
}

void ClockEngine::pause() {
    m_clock.stand();
    armEndTimer();
}

void ClockEngine::stop() {
    m_clock.stand();
    m_duration = 0;
    seek(0);
}

void ClockEngine::seek(qint64 position) {
    m_clock.setPosition(position);
    armEndTimer();
}

void ClockEngine::setDuration(qint64 duration) {
    m_duration = duration;
    armEndTimer();
}

void ClockEngine::on_trackEnd_timeout() {
    // The interval of the timer is limited, and the timer may fire early.
    if (m_clock.position() < m_duration)
        return armEndTimer();
    m_clock.stand();
    Q_EMIT ended();
}

void ClockEngine::armEndTimer() {
    if (!m_clock.isRunning() || m_duration <= 0)
        return m_trackEnd.stop();
    const qint64 remaining = m_duration - m_clock.position();
    m_trackEnd.start(int(std::min<qint64>(std::max<qint64>(remaining, 0), INT_MAX)));
}
