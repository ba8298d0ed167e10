// SPDX-License-Identifier: MIT
#include "playbackcontrol.h"

#include <QHash>
#include <QUrl>

namespace {

QVariant valueOf(const QVariantHash& command) {
    return command.value(QStringLiteral("value"));
}

qint64 positionOf(const QVariantHash& command) {
    return std::max<qint64>(0, command.value(QStringLiteral("position")).toLongLong());
}

} // namespace

PlaybackControl::PlaybackControl(const QString& output, const Pipeline::Report& report)
    : m_pipeline(output, report), m_report(report) {
    m_report({{QStringLiteral("is"), QStringLiteral("ready")}});
}

Pipeline::Track PlaybackControl::track(const QVariantHash& command) {
    Pipeline::Track track;
    track.id = command.value(QStringLiteral("id")).toLongLong();
    track.uri = command.value(QStringLiteral("uri")).toString().toUtf8();
    const QUrl url = QUrl::fromEncoded(track.uri);
    if (url.isLocalFile())
        track.delay = EncoderDelay::ofFile(url.toLocalFile());
    return track;
}

void PlaybackControl::obey(const QVariantHash& command) {
    using Function = void (*)(PlaybackControl&, const QVariantHash&);
    static const QHash<QString, Function> table{
        {QStringLiteral("load"),
         [](PlaybackControl& self, const QVariantHash& what) {
             self.m_pipeline.load(track(what), positionOf(what));
             self.m_pipeline.setPlaying(what.value(QStringLiteral("play")).toBool());
         }},
        {QStringLiteral("next"),
         [](PlaybackControl& self, const QVariantHash& what) {
             self.m_pipeline.follow(track(what));
         }},
        {QStringLiteral("play"),
         [](PlaybackControl& self, const QVariantHash&) { self.m_pipeline.setPlaying(true); }},
        {QStringLiteral("pause"),
         [](PlaybackControl& self, const QVariantHash&) { self.m_pipeline.setPlaying(false); }},
        {QStringLiteral("stop"),
         [](PlaybackControl& self, const QVariantHash&) { self.m_pipeline.stop(); }},
        {QStringLiteral("seek"),
         [](PlaybackControl& self, const QVariantHash& what) {
             self.m_pipeline.seek(positionOf(what),
                                  what.value(QStringLiteral("number")).toLongLong());
         }},
        {QStringLiteral("volume"),
         [](PlaybackControl& self, const QVariantHash& what) {
             self.m_pipeline.filter().setVolume(qBound(0, valueOf(what).toInt(), 100));
         }},
        {QStringLiteral("mute"),
         [](PlaybackControl& self, const QVariantHash& what) {
             self.m_pipeline.filter().setMute(valueOf(what).toBool());
         }},
        {QStringLiteral("replayGain"),
         [](PlaybackControl& self, const QVariantHash& what) {
             self.m_pipeline.filter().setReplayGain(
                 ReplayGain::modeNamed(valueOf(what).toString()));
         }},
        {QStringLiteral("ping"),
         [](PlaybackControl& self, const QVariantHash&) {
             self.m_report({{QStringLiteral("is"), QStringLiteral("alive")}});
         }},
    };
    if (const Function function = table.value(command.value(QStringLiteral("do")).toString()))
        function(*this, command);
}
