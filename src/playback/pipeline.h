// SPDX-License-Identifier: MIT
#pragma once

#include "nexttrack.h"
#include "soundfilter.h"

#include <QByteArray>
#include <QVariantHash>

#include <functional>

// What plays: a chain of GStreamer elements from the address of a track to the output. It lives on
// the main loop of the default context; GStreamer's threads only call on_playbin_aboutToFinish().
//
// It reports as the protocol of playbackcontrol.h says.
class Pipeline {
public:
    using Track = PlaybackTrack;
    using Report = std::function<void(const QVariantHash& report)>;

    // `output` describes the elements that the sound goes to, as gst-launch-1.0 takes them. When
    // that cannot be understood, every track fails.
    Pipeline(const QString& output, Report report);
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;
    ~Pipeline();

    SoundFilter& filter() { return m_filter; }

    // Replaces the present track, at a position in milliseconds.
    void load(const Track& track, qint64 position);
    // The track that follows the present one without a gap, or none; it replaces one that was to
    // follow and has not begun to be decoded. Has to be said after each load(), and each time that
    // the track has begun which was to follow: the end of a track waits for it.
    void follow(const Track& track) { m_next.say(track); }
    void setPlaying(bool isPlaying);
    void stop();
    // The number is part of the reports of positions that follow from it; without a jump it is 0.
    void seek(qint64 position, qint64 number);
    void reportPosition();

private:
    static gboolean on_bus_message(GstBus* bus, GstMessage* message, gpointer self);
    static void on_playbin_aboutToFinish(GstElement* playbin, gpointer self);
    static gboolean on_report_due(gpointer self);
    void handleMessage(GstMessage* message);
    void handleError(GstMessage* message);
    void handleBuffering(GstMessage* message);
    void handleStreamStart(GstMessage* message);
    void handleTags(GstMessage* message);
    void handleSettled();
    void handleState(GstMessage* message);
    void start(const Track& track, qint64 position);
    void jump();
    void dropMessages();
    void setState(GstState state);
    void fail(const QString& reason, bool isOutput);
    void reportDuration();
    void report(const char* what, QVariantHash members = {});
    bool isFromOutput(GstMessage* message) const;
    qint64 position();

    const Report m_report;
    SoundFilter m_filter;
    GstObjectPtr<GstElement> m_playbin;
    GstObjectPtr<GstElement> m_output;
    QString m_outputError;
    GSignalConnection m_aboutToFinish;
    guint m_busWatch = 0;
    guint m_reportTimer = 0;

    Track m_track;
    NextTrack m_next;
    bool m_isWanted = false;
    bool m_isPlaying = false;
    bool m_isBuffering = false;
    // Whether the source cannot be paused, so that waiting for a full buffer would never end.
    bool m_isLive = false;
    // Of the streams that are played; invalid before the first.
    guint m_group = GST_GROUP_ID_INVALID;
    // Whether the track is ready to be played or sought in.
    bool m_isSettled = false;
    // Where to jump once that is so, or where a jump is under way; -1 for nowhere.
    qint64 m_jump = -1;
    bool m_isJumping = false;
    // Of the jump that is under way.
    qint64 m_target = -1;
    qint64 m_jumpNumber = 0;
    QString m_missingPlugin;
    QVariantHash m_tags;
};
