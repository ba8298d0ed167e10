// SPDX-License-Identifier: MIT
#include "connection/chunkframing.h"

#include "connection/fieldgrammar.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace {

// What 64 bits need.
constexpr std::size_t maxDigits = 16;

// -1 unless it is one.
int hexDigit(char c) {
    if (isDigit(c))
        return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

// They would say something about the body that has been read by then.
bool isForbiddenTrailer(std::string_view name) {
    return equalsIgnoringCase(name, "Content-Length") ||
           equalsIgnoringCase(name, "Transfer-Encoding") || equalsIgnoringCase(name, "Host");
}

} // namespace

std::size_t ChunkFraming::take(std::string_view bytes, std::string& vetted) {
    std::size_t taken = 0;
    while (taken < bytes.size()) {
        switch (m_state) {
        case State::Size:
        case State::Blank:
        case State::Extension:
        case State::SizeLf:
            takeSizeByte(bytes[taken++], vetted);
            break;
        case State::Data:
            taken += takeData(bytes.substr(taken), vetted);
            break;
        case State::DataCr:
        case State::DataLf:
            takeDataEnd(bytes[taken++], vetted);
            break;
        case State::Trailer:
        case State::TrailerLf:
            takeTrailerByte(bytes[taken++], vetted);
            break;
        case State::Complete:
        case State::Refused:
            return taken;
        }
    }
    return taken;
}

std::size_t ChunkFraming::takeData(std::string_view bytes, std::string& vetted) {
    const auto missing = static_cast<std::uint64_t>(m_size);
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(missing, bytes.size()));
    vetted.append(bytes.data(), count);
    m_size -= static_cast<std::int64_t>(count);
    if (m_size == 0)
        m_state = State::DataCr;
    return count;
}

void ChunkFraming::takeSizeByte(char c, std::string& vetted) {
    if (++m_lineBytes > maxSizeLineBytes)
        return refuse("A chunk of the request's body has too long an extension.");
    if (m_state == State::SizeLf)
        return c == '\n' ? endSizeLine(vetted) : refuse("The size of a chunk ends with a bare CR.");
    if (m_state == State::Size) {
        if (const int digit = hexDigit(c); digit >= 0)
            return takeDigit(digit);
        if (m_digits == 0)
            return refuse("A chunk of the request's body begins with no size.");
    }
    if (m_state == State::Extension) {
        if (c == '\r')
            m_state = State::SizeLf;
        else if (!isLineByte(c))
            refuse("The extension of a chunk has a control character.");
    } else if (c == ';') {
        m_state = State::Extension;
    } else if (isBlank(c)) {
        m_state = State::Blank;
    } else if (c == '\r' && m_state == State::Size) {
        m_state = State::SizeLf;
    } else {
        refuse("The size of a chunk is followed by something else than an extension.");
    }
}

void ChunkFraming::takeDigit(int digit) {
    constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();
    if (m_digits == maxDigits || m_size > greatest / 16)
        return refuse("The size of a chunk is too large.");
    ++m_digits;
    m_size = m_size * 16 + digit;
}

void ChunkFraming::endSizeLine(std::string& vetted) {
    constexpr std::size_t lineEnd = 2;
    m_extensionBytes += m_lineBytes - m_digits - lineEnd;
    // Of no more data than the longest line needs, so that the sum stays small.
    const auto data =
        static_cast<std::size_t>(std::min<std::int64_t>(m_size, std::int64_t(maxSizeLineBytes)));
    const std::size_t framing = m_lineBytes + lineEnd;
    m_excessBytes += framing - std::min(framing, freeFramingBytes + 2 * data);
    if (m_extensionBytes > maxExtensionBytes || m_excessBytes >= maxExcessBytes)
        return refuse("The chunks of the request's body have too many extensions.");
    m_digits = 0;
    m_lineBytes = 0;
    if (m_size == 0) {
        m_state = State::Trailer;
        return;
    }
    char digits[maxDigits];
    const auto [end, error] = std::to_chars(digits, digits + maxDigits, m_size, 16);
    vetted.append(digits, static_cast<std::size_t>(end - digits)).append("\r\n");
    m_state = State::Data;
}

void ChunkFraming::takeDataEnd(char c, std::string& vetted) {
    if (c != (m_state == State::DataCr ? '\r' : '\n'))
        return refuse("A chunk of the request's body is longer than its size.");
    if (m_state == State::DataCr) {
        m_state = State::DataLf;
        return;
    }
    vetted.append("\r\n");
    m_state = State::Size;
}

void ChunkFraming::takeTrailerByte(char c, std::string& vetted) {
    if (++m_trailerBytes > maxTrailerBytes)
        return refuse("The request has more than 16 KiB of trailer fields.");
    if (m_state == State::TrailerLf)
        return c == '\n' ? endTrailerLine(vetted)
                         : refuse("A trailer field of the request has a CR that ends no line.");
    if (c == '\r')
        m_state = State::TrailerLf;
    else if (isLineByte(c))
        m_trailer.push_back(c);
    else
        refuse("A trailer field of the request has a control character, or ends with a bare LF.");
}

void ChunkFraming::endTrailerLine(std::string& vetted) {
    if (m_trailer.empty()) {
        vetted.append("0\r\n\r\n");
        m_state = State::Complete;
        return;
    }
    Field field;
    if (readField(m_trailer, field))
        return refuse("A trailer field of the request is not a name, a colon and a value.");
    if (isForbiddenTrailer(field.name))
        return refuse("A trailer field of the request says where it ends or whom it is for.");
    if (++m_trailerLines > maxTrailerLines)
        return refuse("The request has more than 100 trailer fields.");
    m_trailer.clear();
    m_state = State::Trailer;
}

void ChunkFraming::refuse(const char* reason) {
    m_state = State::Refused;
    m_refusal = badRequest(reason);
}
