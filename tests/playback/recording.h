// SPDX-License-Identifier: MIT
#pragma once

#include "files.h"

#include <algorithm>
#include <cmath>
#include <vector>

// What the player would have let be heard: the samples that its output has written. Times are in
// milliseconds.
class Recording {
public:
    static constexpr int rate = 48000;
    // Quieter than any of the tests' tones.
    static constexpr double silence = 0.005;

    // The description of an output that writes the file. It writes as fast as it can, or as fast
    // as one would hear it.
    static QString output(const QString& file, bool inRealTime) {
        return QStringLiteral("audioconvert dithering=none ! audioresample ! "
                              "audio/x-raw,format=S16LE,channels=1,rate=%1 ! "
                              "filesink buffer-mode=unbuffered sync=%2 location=%3")
            .arg(QString::number(rate), inRealTime ? "true" : "false", file);
    }

    explicit Recording(const QString& file) {
        const QByteArray bytes = readFile(file);
        for (int i = 0; i + 1 < bytes.size(); i += 2)
            m_samples.push_back(qint16(quint8(bytes[i]) | quint8(bytes[i + 1]) << 8) / 32768.0);
    }

    double length() const { return double(m_samples.size()) * 1000 / rate; }
    // By the times at which the signal rises through zero.
    double frequency(int from, int duration) const {
        double first = -1;
        double last = -1;
        int periods = -1;
        for (size_t i = index(from) + 1; i < index(from + duration); ++i) {
            if (m_samples[i - 1] >= 0 || m_samples[i] < 0)
                continue;
            last = double(i) - m_samples[i] / (m_samples[i] - m_samples[i - 1]);
            first = first < 0 ? last : first;
            ++periods;
        }
        return periods > 0 ? periods * rate / (last - first) : 0;
    }
    double rms(int from, int duration) const {
        double sum = 0;
        for (size_t i = index(from); i < index(from + duration); ++i)
            sum += m_samples[i] * m_samples[i];
        return std::sqrt(sum / std::max<size_t>(1, index(from + duration) - index(from)));
    }
    double longestSilence() const {
        int longest = 0;
        int quiet = 0;
        for (const double sample : m_samples) {
            quiet = std::abs(sample) < silence ? quiet + 1 : 0;
            longest = std::max(longest, quiet);
        }
        return longest * 1000.0 / rate;
    }

private:
    size_t index(int ms) const { return std::min(m_samples.size(), size_t(ms) * rate / 1000); }

    std::vector<double> m_samples;
};
