// SPDX-License-Identifier: MIT
#include "core/plixurl.h"

#include <QUrlQuery>

#include <benchmark/benchmark.h>

namespace {

const QByteArray address = QByteArrayLiteral(
    "http://127.0.0.1:8080/api/getRows?path=media:/&roles=title,value,icon&from=0&to=99");

void parseUrl(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(PlixUrl::fromEncoded(address).path());
}
BENCHMARK(parseUrl);

void parseQUrl(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(QUrl::fromEncoded(address).path(QUrl::FullyDecoded));
}
BENCHMARK(parseQUrl);

void readQueryItems(benchmark::State& state) {
    const PlixUrl url = PlixUrl::fromEncoded(address);
    const QString names[] = {QStringLiteral("path"), QStringLiteral("roles"),
                             QStringLiteral("from"), QStringLiteral("to"),
                             QStringLiteral("version")};
    for (auto _ : state) {
        for (const QString& name : names)
            benchmark::DoNotOptimize(url.queryItemValue(name));
    }
}
BENCHMARK(readQueryItems);

} // namespace
