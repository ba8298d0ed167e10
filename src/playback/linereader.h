// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

#include <functional>

// Reads lines from a descriptor, on the main loop of the default context.
class LineReader {
public:
    // The descriptor stays open and must outlive the reader. `onEnd` is called once, when there is
    // nothing more to read.
    LineReader(int descriptor, std::function<void(const QByteArray& line)> onLine,
               std::function<void()> onEnd);
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;
    ~LineReader();

private:
    bool read(int descriptor);

    std::function<void(const QByteArray&)> m_onLine;
    std::function<void()> m_onEnd;
    QByteArray m_pending;
    unsigned int m_source;
};
