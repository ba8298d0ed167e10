// SPDX-License-Identifier: MIT
#include "nexttrack.h"

#include <utility>

PlaybackTrack NextTrack::take() {
    std::unique_lock lock(m_mutex);
    m_isWaiting = true;
    m_changed.wait(lock, [this] {
        return m_isCancelled || m_isSkipped || (m_said && !m_taken && !m_isHeldBack);
    });
    m_isWaiting = false;
    if (std::exchange(m_isSkipped, false) || m_isCancelled)
        return {};
    m_taken = *std::exchange(m_said, std::nullopt);
    return m_taken;
}

void NextTrack::begin(bool isHeldBack) {
    const std::lock_guard lock(m_mutex);
    m_said.reset();
    m_taken = {};
    m_isHeldBack = isHeldBack;
    m_isSkipped = false;
    m_isCancelled = false;
}

void NextTrack::release() {
    const std::lock_guard lock(m_mutex);
    m_isHeldBack = false;
    m_isSkipped = m_isWaiting;
    m_changed.notify_all();
}

void NextTrack::cancel() {
    const std::lock_guard lock(m_mutex);
    m_isCancelled = true;
    m_changed.notify_all();
}

void NextTrack::say(const PlaybackTrack& track) {
    const std::lock_guard lock(m_mutex);
    m_said = track;
    m_changed.notify_all();
}

PlaybackTrack NextTrack::taken() {
    const std::lock_guard lock(m_mutex);
    return m_taken;
}

PlaybackTrack NextTrack::begun() {
    const std::lock_guard lock(m_mutex);
    m_changed.notify_all();
    return std::exchange(m_taken, {});
}
