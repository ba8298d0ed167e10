// SPDX-License-Identifier: MIT
#include "pipeline.h"

#include "failuretext.h"

namespace {

// Of playbin's flags: audio, and a buffer for what comes from a network.
constexpr guint audioFlag = 0x2;
constexpr guint bufferingFlag = 0x100;
constexpr guint reportIntervalMs = 1000;
constexpr qint64 nsPerMs = 1000000;

qint64 beginOf(const Pipeline::Track& track) {
    return track.delay ? track.delay->begin : 0;
}

} // namespace

Pipeline::Pipeline(const QString& output, Report report)
    : m_report(std::move(report)),
      m_playbin(gstSink(gst_element_factory_make("playbin3", nullptr))) {
    GErrorPtr error;
    m_output =
        gstSink(gst_parse_bin_from_description(output.toUtf8().constData(), TRUE, error.out()));
    if (!m_playbin || error)
        m_outputError = m_playbin ? QString::fromUtf8(error.message())
                                  : QStringLiteral("GStreamer's base plug-ins are not installed");
    if (!m_outputError.isEmpty())
        return;
    g_object_set(m_playbin.get(), "audio-sink", m_output.get(), "audio-filter", m_filter.element(),
                 "flags", audioFlag | bufferingFlag, nullptr);
    m_aboutToFinish = GSignalConnection(m_playbin.get(), "about-to-finish",
                                        G_CALLBACK(on_playbin_aboutToFinish), this);
    const GstObjectPtr<GstBus> bus(gst_element_get_bus(m_playbin.get()));
    m_busWatch = gst_bus_add_watch(bus.get(), on_bus_message, this);
    m_reportTimer = g_timeout_add(reportIntervalMs, on_report_due, this);
}

Pipeline::~Pipeline() {
    if (!m_busWatch)
        return;
    g_source_remove(m_reportTimer);
    g_source_remove(m_busWatch);
    m_next.cancel();
    setState(GST_STATE_NULL);
}

void Pipeline::load(const Track& track, qint64 position) {
    m_track = track;
    m_jumpNumber = 0;
    m_tags.clear();
    if (!m_outputError.isEmpty())
        return fail(QStringLiteral("The sound output does not work: %1").arg(m_outputError), true);
    start(track, position);
}

void Pipeline::start(const Track& track, qint64 position) {
    m_next.cancel();
    setState(GST_STATE_READY);
    dropMessages();
    m_next.begin(position > 0);
    m_group = GST_GROUP_ID_INVALID;
    m_filter.begin();
    m_filter.expect(track.delay);
    m_isBuffering = false;
    m_isPlaying = false;
    m_missingPlugin.clear();
    m_jump = position > 0 ? position : -1;
    m_isJumping = false;
    m_isSettled = false;
    g_object_set(m_playbin.get(), "uri", track.uri.constData(), nullptr);
    m_isLive =
        gst_element_set_state(m_playbin.get(), GST_STATE_PAUSED) == GST_STATE_CHANGE_NO_PREROLL;
    if (m_isLive)
        handleSettled();
}

// Those that are still under way tell of what has been dropped.
void Pipeline::dropMessages() {
    const GstObjectPtr<GstBus> bus(gst_element_get_bus(m_playbin.get()));
    gst_bus_set_flushing(bus.get(), TRUE);
    gst_bus_set_flushing(bus.get(), FALSE);
}

// In the streaming thread.
void Pipeline::on_playbin_aboutToFinish(GstElement* playbin, gpointer self) {
    auto* pipeline = static_cast<Pipeline*>(self);
    const Track next = pipeline->m_next.take();
    if (!next)
        return;
    pipeline->m_filter.expect(next.delay);
    g_object_set(playbin, "uri", next.uri.constData(), nullptr);
}

void Pipeline::setPlaying(bool isPlaying) {
    m_isWanted = isPlaying;
    if (!m_track || !m_outputError.isEmpty() || m_isBuffering || m_jump >= 0)
        return;
    setState(isPlaying ? GST_STATE_PLAYING : GST_STATE_PAUSED);
}

void Pipeline::stop() {
    m_track = {};
    m_isPlaying = false;
    m_next.cancel();
    if (m_outputError.isEmpty())
        setState(GST_STATE_NULL);
}

void Pipeline::setState(GstState state) {
    gst_element_set_state(m_playbin.get(), state);
}

void Pipeline::seek(qint64 position, qint64 number) {
    if (!m_track || !m_outputError.isEmpty())
        return;
    m_jumpNumber = number;
    m_jump = position;
    if (m_isJumping || !m_isSettled)
        return;
    // It would be a jump in the track that is decoded already.
    if (const Track decoded = m_next.taken()) {
        start(m_track, position);
        return follow(decoded);
    }
    jump();
}

void Pipeline::jump() {
    m_next.release();
    m_isJumping = true;
    m_target = m_jump;
    if (gst_element_seek_simple(m_playbin.get(), GST_FORMAT_TIME,
                                GstSeekFlags(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE),
                                m_jump * nsPerMs + beginOf(m_track)))
        return;
    // The track cannot be sought in.
    handleSettled();
}

gboolean Pipeline::on_bus_message(GstBus*, GstMessage* message, gpointer self) {
    static_cast<Pipeline*>(self)->handleMessage(message);
    return G_SOURCE_CONTINUE;
}

void Pipeline::handleMessage(GstMessage* message) {
    // What is still under way from a track that has been dropped.
    if (!m_track)
        return;
    switch (GST_MESSAGE_TYPE(message)) {
    case GST_MESSAGE_ERROR:
        return handleError(message);
    case GST_MESSAGE_EOS:
        m_isPlaying = false;
        return report("ended");
    case GST_MESSAGE_BUFFERING:
        return handleBuffering(message);
    case GST_MESSAGE_STREAM_START:
        return handleStreamStart(message);
    case GST_MESSAGE_CLOCK_LOST:
        setState(GST_STATE_PAUSED);
        return setPlaying(m_isWanted);
    case GST_MESSAGE_ASYNC_DONE:
        return handleSettled();
    case GST_MESSAGE_STATE_CHANGED:
        return handleState(message);
    case GST_MESSAGE_DURATION_CHANGED:
        return reportDuration();
    case GST_MESSAGE_TAG:
        return handleTags(message);
    case GST_MESSAGE_ELEMENT:
        if (const QString text = missingPluginText(message); !text.isEmpty())
            m_missingPlugin = text;
        return;
    case GST_MESSAGE_LATENCY:
        gst_bin_recalculate_latency(GST_BIN(m_playbin.get()));
        return;
    default:
        return;
    }
}

void Pipeline::handleError(GstMessage* message) {
    GErrorPtr error;
    gst_message_parse_error(message, error.out(), nullptr);
    const bool isOutput = isFromOutput(message);
    // The present track is played to its end, and the one that follows fails when it is loaded.
    if (m_next.taken() && !isOutput) {
        start(m_track, position());
        return follow({});
    }
    fail(m_missingPlugin.isEmpty() || isOutput ? failureText(error.get(), isOutput)
                                               : m_missingPlugin,
         isOutput);
}

void Pipeline::fail(const QString& reason, bool isOutput) {
    report("failed", {{QStringLiteral("reason"), reason}, {QStringLiteral("output"), isOutput}});
    stop();
}

bool Pipeline::isFromOutput(GstMessage* message) const {
    GstObject* source = GST_MESSAGE_SRC(message);
    GstObject* output = GST_OBJECT(m_output.get());
    return source == output || gst_object_has_as_ancestor(source, output);
}

void Pipeline::handleBuffering(GstMessage* message) {
    constexpr int full = 100;
    gint percent = full;
    gst_message_parse_buffering(message, &percent);
    if (m_isLive || m_isBuffering == (percent < full))
        return;
    m_isBuffering = percent < full;
    if (m_isWanted && m_jump < 0)
        setState(m_isBuffering ? GST_STATE_PAUSED : GST_STATE_PLAYING);
}

void Pipeline::handleStreamStart(GstMessage* message) {
    guint group = GST_GROUP_ID_INVALID;
    gst_message_parse_group_id(message, &group);
    const bool isLoadedOne = m_group == GST_GROUP_ID_INVALID;
    const bool follows = std::exchange(m_group, group) != group && !isLoadedOne;
    if (const Track decoded = follows ? m_next.begun() : Track()) {
        m_track = decoded;
        m_jumpNumber = 0;
        m_tags.clear();
        report("started");
    }
    reportDuration();
}

// The track can be played, or a jump has been made.
void Pipeline::handleSettled() {
    m_isSettled = true;
    reportDuration();
    const bool isThere = std::exchange(m_isJumping, false) && m_target == m_jump;
    if (m_jump >= 0 && !isThere)
        return jump();
    m_jump = -1;
    setState(m_isWanted && !m_isBuffering ? GST_STATE_PLAYING : GST_STATE_PAUSED);
    reportPosition();
}

void Pipeline::handleState(GstMessage* message) {
    if (GST_MESSAGE_SRC(message) != GST_OBJECT(m_playbin.get()))
        return;
    GstState state = GST_STATE_NULL;
    gst_message_parse_state_changed(message, nullptr, &state, nullptr);
    const bool isPlaying = state == GST_STATE_PLAYING;
    if (isPlaying == m_isPlaying)
        return;
    m_isPlaying = isPlaying;
    reportPosition();
}

void Pipeline::handleTags(GstMessage* message) {
    GstTagList* read = nullptr;
    gst_message_parse_tag(message, &read);
    const GstTagListPtr tags(read);
    QVariantHash known = m_tags;
    for (const auto& [name, tag] :
         {std::pair("title", GST_TAG_TITLE), std::pair("artist", GST_TAG_ARTIST)}) {
        const gchar* text = nullptr;
        if (gst_tag_list_peek_string_index(tags.get(), tag, 0, &text))
            known.insert(QString::fromLatin1(name), QString::fromUtf8(text));
    }
    if (known == m_tags)
        return;
    m_tags = known;
    report("tags", m_tags);
}

gboolean Pipeline::on_report_due(gpointer self) {
    auto* pipeline = static_cast<Pipeline*>(self);
    if (pipeline->m_isPlaying)
        pipeline->reportPosition();
    return G_SOURCE_CONTINUE;
}

void Pipeline::reportPosition() {
    if (m_track)
        report("position", {{QStringLiteral("position"), position()},
                            {QStringLiteral("jump"), m_jumpNumber},
                            {QStringLiteral("running"), m_isPlaying && m_jump < 0}});
}

// In milliseconds.
qint64 Pipeline::position() {
    gint64 position = 0;
    if (m_jump >= 0)
        return m_jump;
    if (!gst_element_query_position(m_playbin.get(), GST_FORMAT_TIME, &position))
        return 0;
    return std::max<qint64>(0, position - beginOf(m_track)) / nsPerMs;
}

void Pipeline::reportDuration() {
    gint64 duration = 0;
    if (!gst_element_query_duration(m_playbin.get(), GST_FORMAT_TIME, &duration) || duration <= 0)
        return;
    const qint64 music = m_track.delay ? m_track.delay->end - m_track.delay->begin : duration;
    report("duration", {{QStringLiteral("duration"), music / nsPerMs}});
}

void Pipeline::report(const char* what, QVariantHash members) {
    members.insert(QStringLiteral("is"), QString::fromLatin1(what));
    members.insert(QStringLiteral("id"), m_track.id);
    m_report(members);
}
