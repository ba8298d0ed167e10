// SPDX-License-Identifier: MIT
#pragma once

#include "encoderdelay.h"

#include <QByteArray>

#include <condition_variable>
#include <mutex>
#include <optional>

struct PlaybackTrack {
    // Given by who loads it, and part of every report on it; 0 is no track.
    qint64 id = 0;
    QByteArray uri;
    std::optional<EncoderDelay> delay;

    explicit operator bool() const { return id != 0; }
};

// The track that follows the present one, handed over from the main thread, which is told of it, to
// the streaming thread, which has to decode it in time.
//
// The streaming thread asks when it has handed on all of the present track. What it has handed on
// lasts for seconds; but of a short track it asks even before the track is heard, and so before
// anybody can have said what follows it. So it waits.
class NextTrack {
public:
    // For the streaming thread: waits for the track that follows. None when nothing follows, and
    // when there is no point in waiting any more.
    PlaybackTrack take();

    // For the main thread. Nothing has been said, and nothing taken. While it is held back nothing
    // is taken.
    void begin(bool isHeldBack);
    // It may be taken from now on. Who waits now gets none, because a jump leads away from this end
    // of the track, and would wait for the thread.
    void release();
    // Who waits gets none, also later: the pipeline is about to wait for its threads.
    void cancel();
    // What follows, or none. Replaces what has been said before and not been taken yet.
    void say(const PlaybackTrack& track);
    // Has been taken and not begun to be played.
    PlaybackTrack taken();
    // What was taken is played now.
    PlaybackTrack begun();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    // Empty until it has been said.
    std::optional<PlaybackTrack> m_said;
    PlaybackTrack m_taken;
    bool m_isWaiting = false;
    bool m_isHeldBack = false;
    bool m_isSkipped = false;
    bool m_isCancelled = false;
};
