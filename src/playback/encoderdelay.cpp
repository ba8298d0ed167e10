// SPDX-License-Identifier: MIT
#include "encoderdelay.h"

#include <QFile>

namespace {

constexpr int id3HeaderBytes = 10;
// Side information, the encoder's table and its extension all lie within.
constexpr int frameBytes = 512;
// Decoders of layer III begin this many samples late, whatever the encoder.
constexpr int decoderDelay = 529;
constexpr int framesFlag = 1;
constexpr int bytesFlag = 2;
constexpr int tableFlag = 4;
constexpr int qualityFlag = 8;
// From the end of the table to the delays.
constexpr int extensionOffset = 21;

int byteAt(const QByteArray& bytes, int index) {
    return index < bytes.size() ? quint8(bytes.at(index)) : 0;
}

quint32 bigEndian(const QByteArray& bytes, int index) {
    return quint32(byteAt(bytes, index)) << 24 | quint32(byteAt(bytes, index + 1)) << 16 |
           quint32(byteAt(bytes, index + 2)) << 8 | quint32(byteAt(bytes, index + 3));
}

// The header of a frame of MPEG-1 or 2, layer III.
struct FrameHeader {
    bool isValid;
    int rate;
    int samples;
    int sideBytes;

    explicit FrameHeader(const QByteArray& frame) {
        static const int rates[] = {44100, 48000, 32000};
        const int version = byteAt(frame, 1) >> 3 & 3; // 3: MPEG-1, 2: MPEG-2, 0: MPEG-2.5
        const int layer = byteAt(frame, 1) >> 1 & 3;
        const int rateIndex = byteAt(frame, 2) >> 2 & 3;
        const bool isMono = byteAt(frame, 3) >> 6 == 3;
        isValid = byteAt(frame, 0) == 0xff && byteAt(frame, 1) >> 5 == 7 && version != 1 &&
                  layer == 1 && rateIndex < 3;
        const bool isFirst = version == 3;
        rate = isValid ? rates[rateIndex] / (isFirst ? 1 : version == 2 ? 2 : 4) : 0;
        samples = isFirst ? 1152 : 576;
        sideBytes = isFirst ? (isMono ? 17 : 32) : (isMono ? 9 : 17);
    }
};

} // namespace

qint64 EncoderDelay::frameOffset(const QByteArray& head) {
    if (!head.startsWith("ID3") || head.size() < id3HeaderBytes)
        return 0;
    qint64 size = 0;
    for (int i = 6; i < id3HeaderBytes; ++i)
        size = size << 7 | (byteAt(head, i) & 0x7f);
    const bool hasFooter = (byteAt(head, 5) & 0x10) != 0;
    return id3HeaderBytes + size + (hasFooter ? id3HeaderBytes : 0);
}

std::optional<EncoderDelay> EncoderDelay::fromFrame(const QByteArray& frame) {
    const FrameHeader header(frame);
    const int table = 4 + header.sideBytes;
    const QByteArray name = frame.mid(table, 4);
    if (!header.isValid || (name != "Xing" && name != "Info"))
        return std::nullopt;
    const quint32 flags = bigEndian(frame, table + 4);
    if (!(flags & framesFlag))
        return std::nullopt;
    const qint64 samples = qint64(bigEndian(frame, table + 8)) * header.samples;
    const int extension = table + 12 + (flags & bytesFlag ? 4 : 0) + (flags & tableFlag ? 100 : 0) +
                          (flags & qualityFlag ? 4 : 0);
    const quint32 delays = bigEndian(frame, extension + extensionOffset) >> 8;
    const qint64 begin = (delays >> 12) + decoderDelay;
    const qint64 end = samples - (delays & 0xfff) + decoderDelay;
    if (byteAt(frame, extension) == 0 || delays == 0 || begin >= end)
        return std::nullopt;
    const auto nanoseconds = [&](qint64 count) { return count * 1000000000 / header.rate; };
    return EncoderDelay{nanoseconds(begin), nanoseconds(std::min(end, samples))};
}

std::optional<EncoderDelay> EncoderDelay::ofFile(const QString& fileName) {
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly) || file.isSequential())
        return std::nullopt;
    if (!file.seek(frameOffset(file.peek(id3HeaderBytes))))
        return std::nullopt;
    return fromFrame(file.read(frameBytes));
}
