// SPDX-License-Identifier: MIT
#include "melody.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr double a3Hertz = 220;
constexpr double pi = 3.14159265358979323846;
// A quarter of the greatest amplitude: tunes play in the background.
constexpr float loudness = 8000;
constexpr int attackSamples = Melody::sampleRate / 50;
constexpr int tableBits = 11;

// One period of a tone with a soft overtone.
const std::array<float, 1 << tableBits>& wave() {
    static const auto table = [] {
        std::array<float, 1 << tableBits> values{};
        for (std::size_t i = 0; i < values.size(); ++i) {
            const double phase = 2 * pi * double(i) / double(values.size());
            values[i] = float((std::sin(phase) + 0.25 * std::sin(2 * phase)) / 1.25);
        }
        return values;
    }();
    return table;
}

} // namespace

Melody::Melody(const QVector<int>& semitones, int noteMs)
    : m_noteSamples(sampleRate / 1000 * noteMs) {
    m_steps.reserve(semitones.size());
    for (const int semitone : semitones) {
        const double hertz = a3Hertz * std::pow(2, semitone / 12.0);
        m_steps.append(semitone == rest ? 0 : quint32(hertz / sampleRate * 0x1p32));
    }
}

qint16 Melody::sample(qint64 position) const {
    const quint32 step = m_steps.at(int(position / m_noteSamples % m_steps.size()));
    const int at = int(position % m_noteSamples);
    const quint32 phase = step * quint32(at);
    // Each note has a short attack and decays, so that it begins and ends without a click.
    const float decay = 1 - float(at) / float(m_noteSamples);
    const float swell = std::min(1.0F, float(at) / float(attackSamples));
    return qint16(loudness * swell * decay * wave()[phase >> (32 - tableBits)]);
}
