// SPDX-License-Identifier: MIT
#pragma once

#include "connection/refusal.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Parses a chunked body to its last byte. The output has plain chunk sizes, without extensions and
// trailer fields, which the server does not use.
class ChunkFraming {
public:
    // A size and a few extensions; nobody sends more.
    static constexpr std::size_t maxSizeLineBytes = 4096;
    // Of a whole body: what is sent beside the data costs the receiver time and brings nothing.
    static constexpr std::size_t maxExtensionBytes = std::size_t(16) * 1024;
    // A chunk may have this many bytes of size line and line ends, and twice its data. What is
    // beyond is summed up over the body.
    static constexpr std::size_t freeFramingBytes = 16;
    static constexpr std::size_t maxExcessBytes = std::size_t(16) * 1024;
    static constexpr std::size_t maxTrailerBytes = std::size_t(16) * 1024;
    static constexpr int maxTrailerLines = 100;

    // Takes bytes up to the end of the body, appends what is passed on, returns how many it took.
    std::size_t take(std::string_view bytes, std::string& vetted);
    bool isComplete() const { return m_state == State::Complete; }
    const Refusal& refusal() const { return m_refusal; }

private:
    enum class State {
        Size,
        Blank,
        Extension,
        SizeLf,
        Data,
        DataCr,
        DataLf,
        Trailer,
        TrailerLf,
        Complete,
        Refused
    };

    std::size_t takeData(std::string_view bytes, std::string& vetted);
    void takeSizeByte(char c, std::string& vetted);
    void takeDigit(int digit);
    void endSizeLine(std::string& vetted);
    void takeDataEnd(char c, std::string& vetted);
    void takeTrailerByte(char c, std::string& vetted);
    void endTrailerLine(std::string& vetted);
    void refuse(const char* reason);

    State m_state = State::Size;
    // Of the chunk, then of its data what is missing.
    std::int64_t m_size = 0;
    std::size_t m_digits = 0;
    std::size_t m_lineBytes = 0;
    std::size_t m_extensionBytes = 0;
    std::size_t m_excessBytes = 0;
    std::size_t m_trailerBytes = 0;
    int m_trailerLines = 0;
    std::string m_trailer;
    Refusal m_refusal;
};
