// SPDX-License-Identifier: MIT
#include "core/dbglog.h"

#include <algorithm>

const log4cplus::Logger plixApiLogger = log4cplus::Logger::getInstance("Api");

namespace {

bool isControl(char character) {
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7f;
}

} // namespace

std::string dbglog::oneLine(const std::string& text) {
    static const char digits[] = "0123456789abcdef";
    // The line break at the end of a program's output is not part of the message.
    const std::size_t length = text.find_last_not_of('\n') + 1;
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(length);
    std::string line;
    line.reserve(length);
    std::for_each(text.begin(), end, [&line](char character) {
        if (character == '\n')
            line += "\\n";
        else if (isControl(character))
            (((line += "\\x") += digits[(character >> 4) & 0xf]) += digits[character & 0xf]);
        else
            line += character;
    });
    return line;
}
