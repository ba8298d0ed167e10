// SPDX-License-Identifier: MIT
#include "wavformat.h"

#include <QIODevice>
#include <QtEndian>

#include <algorithm>
#include <limits>

namespace {

constexpr int bytesPerSample = 2;
constexpr int riffHeaderBytes = 12;
constexpr int chunkHeaderBytes = 8;
// More than any real file has. Limits the time that a damaged file takes.
constexpr int maximumChunks = 64;
constexpr quint32 maximumInfoBytes = 4096;

template <typename T>
QByteArray little(T value) {
    QByteArray bytes(int(sizeof(T)), Qt::Uninitialized);
    qToLittleEndian(value, bytes.data());
    return bytes;
}

QByteArray chunk(const char* id, QByteArray content) {
    if (content.size() % 2 != 0)
        content.append('\0');
    return id + little(quint32(content.size())) + content;
}

QByteArray text(const char* id, const QString& value) {
    return value.isEmpty() ? QByteArray() : chunk(id, value.toUtf8() + '\0');
}

QByteArray format(int sampleRate) {
    const quint16 pcm = 1;
    const quint16 channels = 1;
    return chunk("fmt ", little(pcm) + little(channels) + little(quint32(sampleRate)) +
                             little(quint32(sampleRate * bytesPerSample)) +
                             little(quint16(bytesPerSample)) + little(quint16(bytesPerSample * 8)));
}

quint32 size(const QByteArray& chunkHeader) {
    return qFromLittleEndian<quint32>(chunkHeader.constData() + 4);
}

void readInfo(const QByteArray& list, WavFormat::Info* info) {
    if (!list.startsWith("INFO"))
        return;
    for (int at = 4; at + chunkHeaderBytes <= list.size();) {
        const QByteArray header = list.mid(at, chunkHeaderBytes);
        at += chunkHeaderBytes;
        const qint64 length = size(header);
        // Texts end at their first NUL.
        const QByteArray content = list.mid(at, int(std::min<qint64>(length, list.size())));
        const QString value = QString::fromUtf8(content.constData()).trimmed();
        if (header.startsWith("INAM"))
            info->title = value;
        else if (header.startsWith("IART"))
            info->artist = value;
        at = int(std::min<qint64>(at + length + length % 2, list.size()));
    }
}

} // namespace

QByteArray WavFormat::header(int sampleRate, quint32 sampleBytes, const Info& info) {
    QByteArray body = "WAVE" + format(sampleRate);
    const QByteArray texts = text("INAM", info.title) + text("IART", info.artist);
    if (!texts.isEmpty())
        body += chunk("LIST", "INFO" + texts);
    body += "data" + little(sampleBytes);
    return "RIFF" + little(quint32(body.size()) + sampleBytes) + body;
}

QByteArray WavFormat::endlessHeader(int sampleRate) {
    const QByteArray endless = little(std::numeric_limits<quint32>::max());
    return "RIFF" + endless + "WAVE" + format(sampleRate) + "data" + endless;
}

std::optional<WavFormat::Info> WavFormat::read(QIODevice& file) {
    const QByteArray riff = file.read(riffHeaderBytes);
    if (riff.size() != riffHeaderBytes || !riff.startsWith("RIFF") || !riff.endsWith("WAVE"))
        return std::nullopt;

    Info info;
    quint32 bytesPerSecond = 0;
    qint64 sampleBytes = 0;
    for (int i = 0; i < maximumChunks; ++i) {
        const QByteArray header = file.read(chunkHeaderBytes);
        if (header.size() != chunkHeaderBytes)
            break;
        const qint64 begin = file.pos();
        const quint32 length = size(header);
        if (header.startsWith("fmt ")) {
            const QByteArray content = file.read(16);
            if (content.size() == 16)
                bytesPerSecond = qFromLittleEndian<quint32>(content.constData() + 8);
        } else if (header.startsWith("data")) {
            sampleBytes = std::min<qint64>(length, file.size() - begin);
        } else if (header.startsWith("LIST") && length <= maximumInfoBytes) {
            readInfo(file.read(length), &info);
        }
        if (!file.seek(begin + length + length % 2))
            break;
    }
    if (bytesPerSecond > 0)
        info.durationMs = sampleBytes * 1000 / bytesPerSecond;
    return info;
}
