#pragma once

#include <QByteArray>

#include <cstddef>

// Ends the program, which libFuzzer reports as a finding, unless the condition holds.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition))                                                                          \
            failed(#condition, __FILE__, __LINE__);                                                \
    } while (false)

// Says what does not hold and what the last exchange(), if any, has brought.
[[noreturn]] void failed(const char* condition, const char* file, int line);

// A fuzz_NAME.cpp defines this one; it is called with each input.
void fuzz(const QByteArray& input);

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);
