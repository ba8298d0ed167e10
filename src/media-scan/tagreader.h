// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QJsonObject>

// What a library shows of an audio file.
namespace TagReader {

// title, artist, album, albumArtist, genre (texts; several genres are joined by "; "); year, track,
// disc (numbers); duration (milliseconds); trackGain, albumGain (decibels), trackPeak, albumPeak;
// cover (the SHA-1 of the embedded picture, in hexadecimal). What the file does not have is absent.
// An unreadable file has the only member "failed", the reason.
QJsonObject read(const QByteArray& fileName);

// The embedded picture; null without one.
QByteArray cover(const QByteArray& fileName);

} // namespace TagReader
