// SPDX-License-Identifier: MIT
#include "replaygain.h"

#include <QByteArray>

#include <algorithm>
#include <cmath>

namespace {

// Opus files are levelled to -23 LUFS, others to -18.
constexpr double opusReferenceDecibels = 5;
// Fixed-point numbers with eight bits behind the point.
constexpr double opusUnit = 256;
// What a factor of the volume element may be; no sane tag asks for more.
constexpr double maximumFactor = 8;

bool readDouble(const GstTagList* tags, const char* name, double* value) {
    return gst_tag_list_get_double(tags, name, value);
}

} // namespace

ReplayGain::Mode ReplayGain::modeNamed(const QString& name) {
    if (name == QLatin1String("track"))
        return Mode::Track;
    return name == QLatin1String("album") ? Mode::Album : Mode::Off;
}

void ReplayGain::learn(const GstTagList* tags) {
    m_track.isKnown |= readDouble(tags, GST_TAG_TRACK_GAIN, &m_track.decibels) != 0;
    m_album.isKnown |= readDouble(tags, GST_TAG_ALBUM_GAIN, &m_album.decibels) != 0;
    readDouble(tags, GST_TAG_TRACK_PEAK, &m_track.peak);
    readDouble(tags, GST_TAG_ALBUM_PEAK, &m_album.peak);
    for (guint i = 0; i < gst_tag_list_get_tag_size(tags, GST_TAG_EXTENDED_COMMENT); ++i) {
        const gchar* comment = nullptr;
        if (gst_tag_list_peek_string_index(tags, GST_TAG_EXTENDED_COMMENT, i, &comment))
            learnOpusTag(comment);
    }
}

void ReplayGain::learnOpusTag(const char* comment) {
    const QByteArray text = QByteArray(comment).toUpper();
    for (const auto& [name, values] :
         {std::pair("R128_TRACK_GAIN=", &m_track), std::pair("R128_ALBUM_GAIN=", &m_album)}) {
        bool isNumber = false;
        const int gain = text.startsWith(name) ? text.mid(int(strlen(name))).toInt(&isNumber) : 0;
        if (!isNumber)
            continue;
        values->isKnown = true;
        values->decibels = gain / opusUnit + opusReferenceDecibels;
    }
}

double ReplayGain::factor(Mode mode) const {
    const bool ofAlbum = mode == Mode::Album ? m_album.isKnown : !m_track.isKnown;
    const Values& values = ofAlbum ? m_album : m_track;
    if (mode == Mode::Off || !values.isKnown || !std::isfinite(values.decibels))
        return 1;
    const double wanted = std::min(std::pow(10, values.decibels / 20), maximumFactor);
    return values.peak > 0 ? std::min(wanted, std::max(1 / values.peak, 0.0)) : wanted;
}
