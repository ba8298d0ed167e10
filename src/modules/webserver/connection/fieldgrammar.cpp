// SPDX-License-Identifier: MIT
#include "connection/fieldgrammar.h"

#include <algorithm>

namespace {

constexpr char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

} // namespace

bool isToken(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return isTokenByte(c); });
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return lowered(x) == lowered(y);
           });
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

Refusal readField(std::string_view line, Field& field) {
    if (!line.empty() && (line.front() == ' ' || line.front() == '\t'))
        return badRequest("A header of the request is folded over several lines.");
    std::size_t end = 0;
    while (end < line.size() && isTokenByte(line[end]))
        ++end;
    if (end == line.size())
        return badRequest("A header line of the request has no colon.");
    if (line[end] != ':')
        return badRequest("The name of a header of the request has a character that no name may "
                          "have, such as a space before the colon.");
    if (end == 0)
        return badRequest("A header of the request has no name.");
    field = {line.substr(0, end), trimmed(line.substr(end + 1))};
    return {};
}
