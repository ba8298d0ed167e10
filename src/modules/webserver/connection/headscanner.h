// SPDX-License-Identifier: MIT
#pragma once

#include "connection/refusal.h"

#include <cstddef>
#include <string_view>

// Finds the end of a request's head, which may arrive in pieces, and reads each byte once. Checks
// what needs no context: control bytes, line ends that are not CR LF, and the size of the head.
class HeadScanner {
public:
    // Browsers send up to a few kilobytes, most of it cookies.
    static constexpr std::size_t maxHeadBytes = std::size_t(64) * 1024;
    // Every client in use sends far fewer; each costs time before anybody is asked.
    static constexpr int maxHeaderLines = 100;

    // Takes the head as far as it has come, at most maxHeadBytes of it, each time from its
    // beginning. Returns its length including the empty line, 0 while that is missing or after a
    // refusal.
    std::size_t findEnd(std::string_view head, Refusal& refusal);

private:
    std::size_t m_scanned = 0;
    std::size_t m_lineBegin = 0;
    int m_lines = 0;
};
