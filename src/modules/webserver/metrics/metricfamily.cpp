// SPDX-License-Identifier: MIT
#include "metrics/metricfamily.h"

#include <array>

namespace {

QByteArray escaped(const std::string& value) {
    return QByteArray::fromStdString(value)
        .replace('\\', "\\\\")
        .replace('"', "\\\"")
        .replace('\n', "\\n");
}

QByteArray labelsText(const MetricFamily::Labels& labels) {
    QByteArray text;
    for (const auto& [name, value] : labels)
        text += (text.isEmpty() ? '{' : ',') + QByteArray::fromStdString(name) + "=\"" +
                escaped(value) + '"';
    return text.isEmpty() ? text : text + '}';
}

QByteArray sampleName(const MetricFamily& family, const MetricFamily::Sample& sample) {
    return QByteArray(family.name) + sample.suffix + labelsText(sample.labels);
}

} // namespace

MetricFamily MetricFamily::gauge(const char* name, const char* help, const char* label,
                                 const std::map<std::string, int>& values) {
    MetricFamily family{name, Type::Gauge, help, {}};
    for (const auto& [value, count] : values)
        family.samples.push_back({"", {{label, value}}, double(count)});
    return family;
}

QByteArray openMetricsText(const std::vector<MetricFamily>& families) {
    static constexpr std::array typeNames{"counter", "gauge", "histogram"};
    QByteArray text;
    for (const MetricFamily& family : families) {
        const QByteArray name(family.name);
        text += "# TYPE " + name + ' ' + typeNames.at(std::size_t(family.type)) + "\n# HELP " +
                name + ' ' + family.help + '\n';
        for (const MetricFamily::Sample& sample : family.samples)
            text +=
                sampleName(family, sample) + ' ' + QByteArray::number(sample.value, 'g', 15) + '\n';
    }
    return text + "# EOF\n";
}

QVariantHash samplesOf(const std::vector<MetricFamily>& families) {
    QVariantHash samples;
    for (const MetricFamily& family : families) {
        for (const MetricFamily::Sample& sample : family.samples)
            samples.insert(QString::fromUtf8(sampleName(family, sample)), sample.value);
    }
    return samples;
}
