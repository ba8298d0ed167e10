// SPDX-License-Identifier: MIT
#pragma once

#include <QElapsedTimer>

// The position in a track, in milliseconds. It can run and be stopped.
class PlaybackClock {
public:
    qint64 position() const { return m_position + (m_isRunning ? m_elapsed.elapsed() : 0); }
    bool isRunning() const { return m_isRunning; }

    // Does not start or stop the clock.
    void setPosition(qint64 position) {
        m_position = position;
        m_elapsed.start();
    }
    void run() {
        if (!m_isRunning)
            m_elapsed.start();
        m_isRunning = true;
    }
    void stand() {
        m_position = position();
        m_isRunning = false;
    }

private:
    qint64 m_position = 0;
    bool m_isRunning = false;
    QElapsedTimer m_elapsed;
};
