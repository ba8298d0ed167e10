#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

class QIODevice;

// WAV: what the generated tracks and the live stream are written in, and what is read of any file
// of that format.
namespace WavFormat {

struct Info {
    // 0 when the file does not tell.
    qint64 durationMs = 0;
    // Null when the file does not name them.
    QString title;
    QString artist;
};

// Everything before the samples of a file with 16-bit mono samples.
QByteArray header(int sampleRate, quint32 sampleBytes, const Info& info);
// The same for a stream without end: sizes as great as the format has them.
QByteArray endlessHeader(int sampleRate);

// Empty when the bytes are no WAV. Reads chunk headers and the short texts only.
std::optional<Info> read(QIODevice& file);

} // namespace WavFormat
