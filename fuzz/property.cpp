// SPDX-License-Identifier: MIT
#include "property.h"

#include <cstdio>
#include <cstdlib>

namespace {

QByteArray shown;

} // namespace

void showWhenFailed(const QByteArray& bytes) {
    shown = bytes;
}

void failed(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n%s\n", file, line, condition,
                 shown.constData());
    std::abort();
}

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    // A copy, which ends with a NUL as all that the server reads does.
    fuzz(QByteArray(reinterpret_cast<const char*>(data), static_cast<int>(size)));
    return 0;
}
