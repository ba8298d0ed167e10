// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

#include <optional>

// What the encoder of an MP3 file has added around the music, which is not to be heard: without
// cutting it off there are some 50 ms of silence between two tracks of an album. Decoders of Opus
// and others cut it off themselves.
struct EncoderDelay {
    // Nanoseconds from the first decoded sample. The music lies from `begin` to `end`.
    qint64 begin;
    qint64 end;

    // Where a file has to be read for it: behind its ID3v2 tag, which can be large.
    static qint64 frameOffset(const QByteArray& head);
    // From the bytes of the first frame; empty when they say nothing about it.
    static std::optional<EncoderDelay> fromFrame(const QByteArray& frame);
    // Of a local file; empty for everything else.
    static std::optional<EncoderDelay> ofFile(const QString& fileName);
};
