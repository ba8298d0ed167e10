// SPDX-License-Identifier: MIT
#pragma once

#include "pipeline.h"

// Carries out what it is told, one JSON object at a time, and reports what happens in the same
// form. Positions and durations are in milliseconds. An `id` is a whole number above 0, chosen by
// who loads a track.
//
//   {"do":"load","id":N,"uri":URI,"position":P,"play":BOOL}   another track; play tells whether it
//                                                             is played or rests at the position
//   {"do":"next","id":N,"uri":URI}  what follows the present track; nothing without an id. To be
//                                   said after each load and each start of the track that followed
//   {"do":"play"}, {"do":"pause"}, {"do":"stop"}
//   {"do":"seek","position":P,"number":N}
//   {"do":"volume","value":0..100}, {"do":"mute","value":BOOL}
//   {"do":"replayGain","value":"off"|"track"|"album"}
//   {"do":"ping"}                   answered with {"is":"alive"}, and the position when playing
//
//   {"is":"ready"}                                        at the start
//   {"is":"position","id":N,"position":P,"jump":N,"running":BOOL}
//                                   when it jumps, starts to run or stops, and every second; with
//                                   the number of the latest seek in the track, otherwise 0
//   {"is":"duration","id":N,"duration":P}
//   {"is":"tags","id":N,"title":TEXT,"artist":TEXT}       what the stream says; also while it plays
//   {"is":"started","id":N}         the track that was to follow is heard now
//   {"is":"ended","id":N}           and nothing was to follow
//   {"is":"failed","id":N,"reason":TEXT,"output":BOOL}    output: it was not the track's fault
class PlaybackControl {
public:
    PlaybackControl(const QString& output, const Pipeline::Report& report);

    // An object that is not understood is ignored.
    void obey(const QVariantHash& command);

private:
    static Pipeline::Track track(const QVariantHash& command);

    Pipeline m_pipeline;
    Pipeline::Report m_report;
};
