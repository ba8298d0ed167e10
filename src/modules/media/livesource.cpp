// SPDX-License-Identifier: MIT
#include "livesource.h"

#include "wavformat.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>

namespace {

constexpr int readIntervalMs = 50;
// Players read some 180 KiB before they begin to play.
constexpr qint64 lead = qint64(6) * Melody::sampleRate;
constexpr qint64 maximumBacklog = lead + Melody::sampleRate;

} // namespace

LiveSource::LiveSource(QObject* parent)
    : QIODevice(parent), m_header(WavFormat::endlessHeader(Melody::sampleRate)),
      m_melody({0, 4, 7, 11, 14, 11, 7, 4, -3, 0, 4, 7, 12, 7, 4, 0}, 400) {
    m_nextRead.setSingleShot(true);
    m_nextRead.setInterval(readIntervalMs);
    connect(&m_nextRead, &QTimer::timeout, this, &QIODevice::readyRead);
    m_clock.start();
    // Without QIODevice's buffer, which would be filled ahead of time.
    open(ReadOnly | Unbuffered);
}

qint64 LiveSource::readData(char* data, qint64 length) {
    // readyRead() is emitted only after a read.
    m_nextRead.start();
    if (!m_header.isEmpty())
        return readHeader(data, length);
    const qint64 due = lead + m_clock.elapsed() * Melody::sampleRate / 1000;
    m_position = std::max(m_position, due - maximumBacklog);
    const qint64 count = std::min(due - m_position, length / Melody::bytesPerSample);
    for (qint64 i = 0; i < count; ++i)
        qToLittleEndian(m_melody.sample(m_position + i), data + i * Melody::bytesPerSample);
    m_position += count;
    return count * Melody::bytesPerSample;
}

qint64 LiveSource::readHeader(char* data, qint64 length) {
    const qint64 count = std::min<qint64>(length, m_header.size());
    std::memcpy(data, m_header.constData(), size_t(count));
    m_header.remove(0, int(count));
    return count;
}
