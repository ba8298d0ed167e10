// SPDX-License-Identifier: MIT
#include "soundfilter.h"

#include <cmath>

namespace {

// In floating point, so that a low volume does not cost resolution.
constexpr const char* description =
    "audioconvert name=in ! audio/x-raw,format=" GST_AUDIO_NE(F32) " ! volume name=volume";

GstBuffer* clipped(GstBuffer* buffer, const EncoderDelay& delay, const GstAudioInfo& format) {
    GstSegment music;
    gst_segment_init(&music, GST_FORMAT_TIME);
    music.start = guint64(delay.begin);
    music.stop = guint64(delay.end);
    return gst_audio_buffer_clip(buffer, &music, format.rate, format.bpf);
}

} // namespace

SoundFilter::SoundFilter() {
    GErrorPtr error;
    m_bin = gstSink(gst_parse_bin_from_description(description, TRUE, error.out()));
    if (error)
        g_error("%s", error.message());
    m_volumeElement.reset(gst_bin_get_by_name(GST_BIN(m_bin.get()), "volume"));
    const GstObjectPtr<GstElement> input(gst_bin_get_by_name(GST_BIN(m_bin.get()), "in"));
    m_pad.reset(gst_element_get_static_pad(input.get(), "sink"));
    m_probe = gst_pad_add_probe(m_pad.get(),
                                GstPadProbeType(GST_PAD_PROBE_TYPE_BUFFER |
                                                GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM |
                                                GST_PAD_PROBE_TYPE_EVENT_FLUSH),
                                on_pad_data, this, nullptr);
}

SoundFilter::~SoundFilter() {
    gst_pad_remove_probe(m_pad.get(), m_probe);
}

void SoundFilter::begin() {
    const std::lock_guard lock(m_mutex);
    m_expected.clear();
    m_group = GST_GROUP_ID_INVALID;
    m_removed = 0;
}

void SoundFilter::expect(const std::optional<EncoderDelay>& delay) {
    const std::lock_guard lock(m_mutex);
    m_expected.push_back(delay);
}

void SoundFilter::setVolume(int percent) {
    const std::lock_guard lock(m_mutex);
    m_volume = std::pow(percent / 100.0, 3);
    apply();
}

void SoundFilter::setMute(bool isMute) {
    g_object_set(m_volumeElement.get(), "mute", gboolean(isMute), nullptr);
}

void SoundFilter::setReplayGain(ReplayGain::Mode mode) {
    const std::lock_guard lock(m_mutex);
    m_mode = mode;
    apply();
}

void SoundFilter::apply() {
    g_object_set(m_volumeElement.get(), "volume", m_volume * m_replayGain.factor(m_mode), nullptr);
}

GstPadProbeReturn SoundFilter::on_pad_data(GstPad*, GstPadProbeInfo* info, gpointer self) {
    auto* filter = static_cast<SoundFilter*>(self);
    const std::lock_guard lock(filter->m_mutex);
    return GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER ? filter->handleBuffer(info)
                                                                     : filter->handleEvent(info);
}

GstPadProbeReturn SoundFilter::handleEvent(GstPadProbeInfo* info) {
    GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
    switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_STREAM_START:
        beginTrack(event);
        break;
    case GST_EVENT_FLUSH_STOP:
        m_removed = 0;
        break;
    case GST_EVENT_CAPS: {
        GstCaps* caps = nullptr;
        gst_event_parse_caps(event, &caps);
        gst_audio_info_from_caps(&m_format, caps);
        break;
    }
    case GST_EVENT_SEGMENT:
        GST_PAD_PROBE_INFO_DATA(info) = shifted(event);
        break;
    case GST_EVENT_TAG: {
        GstTagList* tags = nullptr;
        gst_event_parse_tag(event, &tags);
        m_replayGain.learn(tags);
        apply();
        break;
    }
    default:
        break;
    }
    return GST_PAD_PROBE_OK;
}

void SoundFilter::beginTrack(GstEvent* streamStart) {
    guint group = GST_GROUP_ID_INVALID;
    gst_event_parse_group_id(streamStart, &group);
    if (group == m_group)
        return;
    const bool follows = m_group != GST_GROUP_ID_INVALID;
    m_group = group;
    if (follows && m_delay)
        m_removed += std::max<qint64>(0, m_decodedEnd - m_delay->end);
    m_delay = m_expected.empty() ? std::nullopt : m_expected.front();
    if (!m_expected.empty())
        m_expected.pop_front();
    if (follows && m_delay)
        m_removed += m_delay->begin;
    m_decodedEnd = 0;
    m_replayGain = {};
    apply();
}

// Takes the event over.
GstEvent* SoundFilter::shifted(GstEvent* event) const {
    GstSegment segment;
    gst_event_copy_segment(event, &segment);
    if (m_removed == 0 || segment.format != GST_FORMAT_TIME)
        return event;
    segment.base -= std::min(segment.base, guint64(m_removed));
    GstEvent* moved = gst_event_new_segment(&segment);
    gst_event_set_seqnum(moved, gst_event_get_seqnum(event));
    gst_event_unref(event);
    return moved;
}

GstPadProbeReturn SoundFilter::handleBuffer(GstPadProbeInfo* info) {
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    if (!m_delay || !GST_BUFFER_PTS_IS_VALID(buffer) || !GST_AUDIO_INFO_IS_VALID(&m_format))
        return GST_PAD_PROBE_OK;
    if (GST_BUFFER_DURATION_IS_VALID(buffer))
        m_decodedEnd = qint64(GST_BUFFER_PTS(buffer) + GST_BUFFER_DURATION(buffer));
    GstBuffer* music = clipped(buffer, *m_delay, m_format);
    GST_PAD_PROBE_INFO_DATA(info) = music;
    return music ? GST_PAD_PROBE_OK : GST_PAD_PROBE_HANDLED;
}
