// SPDX-License-Identifier: MIT
#include "http/multipartsplitter.h"

#include <benchmark/benchmark.h>

namespace {

// As the server hands a body on.
constexpr int chunkSize = 64 * 1024;

void splitMultipart(benchmark::State& state) {
    const QByteArray content = QByteArray(int(state.range(0)), 'x');
    const QByteArray body = "--line\r\nContent-Disposition: form-data; name=\"image\"\r\n\r\n" +
                            content + "\r\n--line--\r\n";
    for (auto _ : state) {
        qint64 received = 0;
        MultipartSplitter splitter(
            "\r\n--line", [](const QByteArray&) {},
            [&received](const char*, unsigned int size) { received += size; });
        for (int at = 0; at < body.size(); at += chunkSize) {
            const int size = qMin(chunkSize, body.size() - at);
            splitter.append(body.constData() + at, static_cast<unsigned int>(size));
            do {
                splitter.step(false);
            } while (splitter.canStep());
        }
        while (splitter.step(true) > 0) {
        }
        if (received != content.size())
            state.SkipWithError("content was lost");
    }
    state.SetBytesProcessed(state.iterations() * body.size());
}
BENCHMARK(splitMultipart)->Arg(1 << 20);

} // namespace
