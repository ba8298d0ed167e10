// SPDX-License-Identifier: MIT
#pragma once

#include "connection/refusal.h"

#include <array>
#include <cstdint>
#include <string_view>

// The grammar that the lines of a head and those of a trailer section share (RFC 9110, section 5).

// What each byte may be part of.
struct ByteClasses {
    static constexpr std::uint8_t token = 1;
    // Visible ASCII, space, tab and everything beyond ASCII.
    static constexpr std::uint8_t line = 2;

    static constexpr std::array<std::uint8_t, 256> makeTable() {
        std::array<std::uint8_t, 256> table{};
        for (std::size_t c = ' '; c < table.size(); ++c)
            table[c] = c == 0x7f ? 0 : line;
        table['\t'] = line;
        for (const char c : std::string_view("!#$%&'*+-.^_`|~0123456789abcdefghijklmnopqrstuvwxyz"
                                             "ABCDEFGHIJKLMNOPQRSTUVWXYZ"))
            table[static_cast<unsigned char>(c)] |= token;
        return table;
    }
};

inline constexpr std::array<std::uint8_t, 256> byteClasses = ByteClasses::makeTable();

inline bool isTokenByte(char c) {
    return (byteClasses[static_cast<unsigned char>(c)] & ByteClasses::token) != 0;
}

inline bool isLineByte(char c) {
    return (byteClasses[static_cast<unsigned char>(c)] & ByteClasses::line) != 0;
}

inline bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// At least one byte.
bool isToken(std::string_view text);
// For ASCII, whatever the locale.
bool equalsIgnoringCase(std::string_view a, std::string_view b);
// Without the spaces and tabs around it.
std::string_view trimmed(std::string_view text);

struct Field {
    std::string_view name;
    std::string_view value;
};

// Splits a line without its line end, all of whose bytes are isLineByte().
Refusal readField(std::string_view line, Field& field);
