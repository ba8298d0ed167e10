// SPDX-License-Identifier: MIT
#include "responders/page/pagetemplate.h"

#include <benchmark/benchmark.h>

namespace {

QString page(int instructions) {
    QString text;
    for (int i = 0; i < instructions; ++i) {
        text +=
            QStringLiteral("<tr><td class=\"name\">Some text of the page</td><td><?plix getData "
                           "path=\"player:player/volume\" roles=\"value\" escape=\"html\"?>"
                           "</td></tr>\n");
    }
    return text;
}

void scanPage(benchmark::State& state) {
    const QString text = page(int(state.range(0)));
    for (auto _ : state) {
        for (int position = 0; position < text.size();) {
            const PageTemplate::Piece piece = PageTemplate::nextPiece(text, position);
            benchmark::DoNotOptimize(PageTemplate::parseInstruction(piece.instruction));
            position = piece.next;
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(scanPage)->Arg(20)->Arg(2000);

void escapeHtml(benchmark::State& state) {
    const QString text = QStringLiteral("Plain words, then <b>some</b> & \"others\" ").repeated(20);
    for (auto _ : state)
        benchmark::DoNotOptimize(PageTemplate::escapeHtml(text));
}
BENCHMARK(escapeHtml);

} // namespace
