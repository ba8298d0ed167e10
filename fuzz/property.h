#pragma once

#include <QByteArray>

#include <cstdio>
#include <cstdlib>

// Ends the program, which libFuzzer reports as a finding, unless the condition holds.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);    \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)

// A fuzz_NAME.cpp defines this one; it is called with each input.
void fuzz(const QByteArray& input);

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);
