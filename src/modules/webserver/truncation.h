#pragma once

#include <csignal>
#include <cstddef>

// Tells whether a mapped file was truncated while it was read. What another program has cut off can
// no longer be read from a mapping, and the system ends a process that tries. Once there has been
// one of these, such reads give zeros instead, in the whole process, and are counted.
class TruncationWatch {
public:
    TruncationWatch();

    // Since this was made. Files that were truncated before and not read are not seen.
    bool sawTruncation() const;
    // Reads a byte of every page, so that sawTruncation() speaks of these bytes.
    void touch(const char* data, size_t length) const;

private:
    const std::sig_atomic_t m_before;
};
