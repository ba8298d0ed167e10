// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QVariant>

#include <map>
#include <string>
#include <utility>
#include <vector>

// A metric with its samples, as OpenMetrics has them.
struct MetricFamily {
    enum class Type { Counter, Gauge, Histogram };
    // Pairs of name and value, in the order in which they are written.
    using Labels = std::vector<std::pair<std::string, std::string>>;

    struct Sample {
        const char* suffix; // of the name, such as "_total"
        Labels labels;
        double value;
    };

    const char* name;
    Type type;
    const char* help;
    std::vector<Sample> samples;

    // Of a gauge with one label.
    static MetricFamily gauge(const char* name, const char* help, const char* label,
                              const std::map<std::string, int>& values);
    static MetricFamily gauge(const char* name, const char* help, double value) {
        return {name, Type::Gauge, help, {{"", {}, value}}};
    }
    static MetricFamily counter(const char* name, const char* help, double value) {
        return {name, Type::Counter, help, {{"_total", {}, value}}};
    }
};

// The text of version 1.0.0.
QByteArray openMetricsText(const std::vector<MetricFamily>& families);
// The samples by their names with labels, as in the text.
QVariantHash samplesOf(const std::vector<MetricFamily>& families);
