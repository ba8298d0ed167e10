// SPDX-License-Identifier: MIT
#include "core/plixjson.h"

#include <QJsonDocument>

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

namespace {

// What a getRows of 100 rows with four roles answers.
QVariant rowsAnswer() {
    QVariantList rows;
    for (int i = 0; i < 100; ++i) {
        rows.append(QVariant(QVariantList{
            QStringLiteral("Track %1").arg(i), QVariantHash{{QStringLiteral("i32_"), i}},
            QStringLiteral("cover-%1.png").arg(i), QStringLiteral("Größe und Länge")}));
    }
    return QVariantHash{{QStringLiteral("rows"), rows},
                        {QStringLiteral("count"), 100},
                        {QStringLiteral("version"), 1}};
}

QByteArray rowsText() {
    return PlixJson::serialize(rowsAnswer());
}

void parsePlix(benchmark::State& state) {
    const QByteArray text = rowsText();
    for (auto _ : state) {
        PlixError error;
        benchmark::DoNotOptimize(PlixJson::parse(text, error));
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * text.size());
}
BENCHMARK(parsePlix);

// To the same value that PlixJson gives, which is what the data model works with.
void parseQt(benchmark::State& state) {
    const QByteArray text = rowsText();
    for (auto _ : state)
        benchmark::DoNotOptimize(QJsonDocument::fromJson(text).toVariant());
    state.SetBytesProcessed(int64_t(state.iterations()) * text.size());
}
BENCHMARK(parseQt);

// To its own value only.
void parseNlohmann(benchmark::State& state) {
    const std::string text = rowsText().toStdString();
    for (auto _ : state)
        benchmark::DoNotOptimize(nlohmann::json::parse(text));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(text.size()));
}
BENCHMARK(parseNlohmann);

void serializePlix(benchmark::State& state) {
    const QVariant value = rowsAnswer();
    for (auto _ : state)
        benchmark::DoNotOptimize(PlixJson::serialize(value));
    state.SetBytesProcessed(int64_t(state.iterations()) * rowsText().size());
}
BENCHMARK(serializePlix);

void serializeQt(benchmark::State& state) {
    const QVariant value = rowsAnswer();
    for (auto _ : state) {
        benchmark::DoNotOptimize(QJsonDocument::fromVariant(value).toJson(QJsonDocument::Compact));
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * rowsText().size());
}
BENCHMARK(serializeQt);

// Of its own value.
void serializeNlohmann(benchmark::State& state) {
    const auto value = nlohmann::json::parse(rowsText().toStdString());
    for (auto _ : state)
        benchmark::DoNotOptimize(value.dump());
    state.SetBytesProcessed(int64_t(state.iterations()) * rowsText().size());
}
BENCHMARK(serializeNlohmann);

} // namespace
