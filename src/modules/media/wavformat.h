// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

class QIODevice;

// The WAV format: headers for the generated tracks and the live stream, and the tags of files.
namespace WavFormat {

struct Info {
    // 0 when unknown.
    qint64 durationMs = 0;
    // Null when the file does not contain them.
    QString title;
    QString artist;
};

// Everything before the samples of a file with 16-bit mono samples.
QByteArray header(int sampleRate, quint32 sampleBytes, const Info& info);
// The same for an endless stream, with the greatest sizes that the format allows.
QByteArray endlessHeader(int sampleRate);

// Empty when the bytes are no WAV. Reads chunk headers and the short texts only.
std::optional<Info> read(QIODevice& file);

} // namespace WavFormat
