// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <optional>

// How long to wait before a stream that has broken off is tried again: longer from attempt to
// attempt, and no further once many have been made without any sound.
class RetryDelay {
public:
    static constexpr int firstMs = 500;
    static constexpr int longestMs = 30000;
    // Together some four minutes: what a router takes to start again.
    static constexpr int maximumAttempts = 12;

    void succeeded() { m_attempts = 0; }
    // In milliseconds; empty when it is not worth another attempt.
    std::optional<int> next() {
        if (m_attempts >= maximumAttempts)
            return std::nullopt;
        return std::min(longestMs, firstMs << std::min(m_attempts++, maximumAttempts));
    }

private:
    int m_attempts = 0;
};
