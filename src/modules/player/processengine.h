// SPDX-License-Identifier: MIT
#pragma once

#include "playbackclock.h"
#include "playbackprocess.h"
#include "playerengine.h"
#include "retrydelay.h"
#include "trackpipe.h"

#include <memory>
#include <optional>

// Plays with the program plix-playback, which the player needs nothing of before something is to be
// heard: until then a track is only remembered.
//
// A stream that breaks off, that is one of unknown length, is begun again by and by. While it is
// not heard the position stands.
class ProcessEngine : public PlayerEngine {
    Q_OBJECT

public:
    // When nothing has been heard for so long of what is to be played, it does not go on.
    static constexpr int stallMs = 20000;

    // `stateDirectory` is where GStreamer's list of plug-ins is kept; empty for its usual place.
    ProcessEngine(const QString& program, const QString& output, const QString& stateDirectory);

    void load(const PlayerTrack& track, qint64 position) override;
    void prepare(const PlayerTrack& track) override;
    void play() override;
    void pause() override;
    void stop() override;
    void seek(qint64 position) override;
    void setVolume(int percent) override;
    void setMute(bool isMute) override;
    void setReplayGain(const QString& mode) override;
    qint64 position() const override { return m_clock.position(); }
    bool isRunning() const override { return m_clock.isRunning(); }

private:
    // What the program knows of the present track.
    enum class Phase { Idle, Locating, Loaded };
    using Handler = void (ProcessEngine::*)(const QVariantHash& report);

    void on_process_received(const QVariantHash& report);
    void on_process_lost(const QString& reason);
    void handlePosition(const QVariantHash& report);
    void handleDuration(const QVariantHash& report);
    void handleTags(const QVariantHash& report);
    void handleStarted(const QVariantHash& report);
    void handleEnded(const QVariantHash& report);
    void handleFailed(const QVariantHash& report);

    void start();
    void openPipe();
    void failLater(const QString& reason);
    void sendLoad();
    void sendNext();
    void send(const char* command, QVariantHash members = {});
    void setValue(const char* command, const QVariant& value);
    void rest();
    void breakOff(const QString& reason);
    void fail(const QString& reason, bool isTracksFault);
    bool isStream() const;

    PlaybackProcess m_process;
    // What the program is told at each of its starts.
    QMap<QByteArray, QVariant> m_values;

    PlayerTrack m_track;
    Phase m_phase = Phase::Idle;
    QString m_uri;
    // Of a track that its worker produces; otherwise null.
    std::unique_ptr<TrackPipe> m_pipe;
    bool m_isWanted = false;
    bool m_hasSounded = false;
    qint64 m_duration = 0;
    PlaybackClock m_clock;
    // The position of the latest report, and since when it has been growing.
    qint64 m_reported = 0;
    QElapsedTimer m_progress;

    // Empty until the player has said what follows, and until that has been found.
    std::optional<PlayerTrack> m_next;
    std::optional<QString> m_nextUri;

    // Numbers for the program; reports on others than the present ones are late.
    qint64 m_lastId = 0;
    qint64 m_id = 0;
    qint64 m_nextId = 0;
    // Of the latest jump in the present track.
    qint64 m_jumpNumber = 0;

    RetryDelay m_retryDelay;
    QTimer m_retry;
};
