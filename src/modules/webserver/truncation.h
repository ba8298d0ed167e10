#pragma once

#include <csignal>
#include <cstddef>

// Tells whether a mapped file was truncated while it was read. What another program has cut off can
// no longer be read from a mapping, and the system ends a process that tries. Here such reads give
// zeros instead, and are counted.
class TruncationWatch {
public:
    TruncationWatch();

    // Whether something was missing, in any file, since this was made.
    bool sawTruncation() const;

    // From now on these bytes may be read; up to the next call, none but them.
    static void guard(const char* data, size_t length);
    // The same, and reads a byte of each page, so that what is missing now is counted now.
    static void touch(const char* data, size_t length);

private:
    std::sig_atomic_t m_before;
};
