// SPDX-License-Identifier: MIT
#pragma once

#include <QVector>
#include <QtGlobal>

// A simple tune that repeats itself, as 16-bit samples that are computed when they are read.
class Melody {
public:
    static constexpr int sampleRate = 16000;
    static constexpr int bytesPerSample = 2;
    // Among the notes: silence.
    static constexpr int rest = 127;

    // The notes are in semitones above A3 and last equally long.
    Melody(const QVector<int>& semitones, int noteMs);

    qint64 samplesOnce() const { return qint64(m_steps.size()) * m_noteSamples; }
    qint16 sample(qint64 position) const;

private:
    // The phase increment of each note for a sample, in units of 2^-32 periods; 0 for a rest.
    QVector<quint32> m_steps;
    int m_noteSamples;
};
