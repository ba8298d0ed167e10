// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

#include <algorithm>
#include <cstddef>

// Ends the program, which libFuzzer reports as a finding, unless the condition holds.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition))                                                                          \
            failed(#condition, __FILE__, __LINE__);                                                \
    } while (false)

// What failed() prints besides, such as the answer of an exchange().
void showWhenFailed(const QByteArray& bytes);

// Says what does not hold, and ends the program.
[[noreturn]] void failed(const char* condition, const char* file, int line);

// Nothing in it breaks out of the line of a request.
inline bool isPrintableAscii(const QByteArray& bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](char c) { return c > ' ' && c < 127; });
}

// A fuzz_NAME.cpp defines this one; it is called with each input.
void fuzz(const QByteArray& input);

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);
