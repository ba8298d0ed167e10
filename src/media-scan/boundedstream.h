// SPDX-License-Identifier: MIT
#pragma once

#include <tfilestream.h>

// A file to read whose end comes early when it is read too often. Real files are read some dozens
// of times; without a bound, the search for music in a large file without any takes minutes.
class BoundedStream : public TagLib::FileStream {
public:
    // Of at least a kilobyte each in a search.
    static constexpr int maximumReads = 8192;

    explicit BoundedStream(const char* fileName) : FileStream(fileName, true) {}

    TagLib::ByteVector readBlock(unsigned long length) override {
        return ++m_reads <= maximumReads ? FileStream::readBlock(length) : TagLib::ByteVector();
    }

private:
    int m_reads = 0;
};
