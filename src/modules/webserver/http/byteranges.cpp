// SPDX-License-Identifier: MIT
#include "http/byteranges.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

namespace {

constexpr std::string_view unit = "bytes=";

struct Range {
    qint64 first;
    qint64 last;
};

// Removes the digits at the beginning of the text and returns their value; nothing when there are
// none. A number that is too large becomes the greatest one, which lies beyond every content.
std::optional<qint64> takeNumber(std::string_view* text) {
    constexpr quint64 greatest = std::numeric_limits<qint64>::max();
    quint64 number = 0;
    const char* const begin = text->data();
    const auto [end, error] = std::from_chars(begin, begin + text->size(), number);
    if (error == std::errc::invalid_argument)
        return std::nullopt;
    text->remove_prefix(static_cast<std::size_t>(end - begin));
    if (error == std::errc::result_out_of_range)
        return static_cast<qint64>(greatest);
    return static_cast<qint64>(std::min(number, greatest));
}

// "first-last", "first-" or "-suffix length".
std::optional<Range> parseSpec(std::string_view spec, qint64 length) {
    const std::optional<qint64> first = takeNumber(&spec);
    if (spec.empty() || spec.front() != '-')
        return std::nullopt;
    spec.remove_prefix(1);
    const std::optional<qint64> last = takeNumber(&spec);
    if (!spec.empty() || (!first && !last) || (first && last && *last < *first))
        return std::nullopt;
    if (!first)
        return Range{length - std::min(*last, length), length - 1};
    return Range{*first, last ? std::min(*last, length - 1) : length - 1};
}

std::string_view withoutBlanks(std::string_view text) {
    constexpr std::string_view blanks = " \t";
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

} // namespace

RangeRequest parseRange(const QByteArray& header, qint64 length) {
    std::string_view rest(header.constData(), static_cast<std::size_t>(header.size()));
    if (qstrnicmp(rest.data(), unit.data(), unit.size()) != 0)
        return {};
    rest.remove_prefix(unit.size());

    RangeRequest request;
    while (!rest.empty()) {
        const std::size_t comma = std::min(rest.find(','), rest.size());
        const std::string_view spec = withoutBlanks(rest.substr(0, comma));
        rest.remove_prefix(std::min(comma + 1, rest.size()));
        // Empty elements of a list are allowed.
        if (spec.empty())
            continue;
        const std::optional<Range> range = parseSpec(spec, length);
        if (!range)
            return {};
        ++request.count;
        request.first = range->first;
        request.last = range->last;
    }

    if (request.count == 1)
        request.kind = request.first < length ? RangeRequest::Single : RangeRequest::Unsatisfiable;
    else if (request.count > 1)
        request.kind = RangeRequest::Several;
    return request;
}
