// SPDX-License-Identifier: MIT
#pragma once

#include "encoderdelay.h"
#include "replaygain.h"

#include <deque>
#include <gst/audio/audio.h>
#include <mutex>
#include <optional>

// The element between the decoder and the output: it cuts off what encoders have added, and makes
// the sound as loud as it is to be.
//
// Tracks that follow each other without a gap pass it as one stream. Its streaming thread calls the
// probe, everybody else the other functions.
class SoundFilter {
public:
    SoundFilter();
    SoundFilter(const SoundFilter&) = delete;
    SoundFilter& operator=(const SoundFilter&) = delete;
    ~SoundFilter();

    GstElement* element() const { return m_bin.get(); }

    // Nothing has passed yet.
    void begin();
    // The next track to pass has this delay.
    void expect(const std::optional<EncoderDelay>& delay);
    // 0 to 100, on a curve that ears take for even.
    void setVolume(int percent);
    void setMute(bool isMute);
    void setReplayGain(ReplayGain::Mode mode);

private:
    static GstPadProbeReturn on_pad_data(GstPad* pad, GstPadProbeInfo* info, gpointer self);
    GstPadProbeReturn handleEvent(GstPadProbeInfo* info);
    GstPadProbeReturn handleBuffer(GstPadProbeInfo* info);
    void beginTrack(GstEvent* streamStart);
    GstEvent* shifted(GstEvent* segment) const;
    void apply();

    GstObjectPtr<GstElement> m_bin;
    GstObjectPtr<GstElement> m_volumeElement;
    GstObjectPtr<GstPad> m_pad;
    gulong m_probe = 0;

    std::mutex m_mutex;
    double m_volume = 1;
    ReplayGain::Mode m_mode = ReplayGain::Mode::Off;
    ReplayGain m_replayGain;
    std::deque<std::optional<EncoderDelay>> m_expected;
    std::optional<EncoderDelay> m_delay;
    GstAudioInfo m_format{};
    guint m_group = GST_GROUP_ID_INVALID;
    // What has been cut off between tracks since the beginning or the last jump. The times of what
    // follows are earlier by it.
    qint64 m_removed = 0;
    // The end of what has been decoded of the present track.
    qint64 m_decodedEnd = 0;
};
