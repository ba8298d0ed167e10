// SPDX-License-Identifier: MIT
#include "connection/headscanner.h"

#include "connection/fieldgrammar.h"

#include <algorithm>

std::size_t HeadScanner::findEnd(std::string_view head, Refusal& refusal) {
    std::size_t i = m_scanned;
    while (true) {
        const auto* const other =
            std::find_if_not(head.begin() + i, head.end(), [](char c) { return isLineByte(c); });
        i = static_cast<std::size_t>(other - head.begin());
        if (i == head.size())
            break;
        if (head[i] != '\r') {
            refusal =
                badRequest(head[i] == '\n' ? "A line of the request's head ends with a bare LF."
                                           : "The request's head has a control character.");
            return 0;
        }
        // Whether an LF follows is not known yet.
        if (i + 1 == head.size())
            break;
        if (head[i + 1] != '\n') {
            refusal = badRequest("The request's head has a CR that ends no line.");
            return 0;
        }
        const bool isEmpty = i == m_lineBegin;
        i += 2;
        if (isEmpty)
            return i;
        m_lineBegin = i;
        // The first line is no header.
        if (m_lines++ > maxHeaderLines) {
            refusal = {431, "Request Header Fields Too Large",
                       "The request has more than 100 headers."};
            return 0;
        }
    }
    m_scanned = i;
    if (head.size() >= maxHeadBytes)
        refusal = {431, "Request Header Fields Too Large",
                   "The request's head is larger than 64 KiB."};
    return 0;
}
