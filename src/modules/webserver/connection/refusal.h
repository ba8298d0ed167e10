// SPDX-License-Identifier: MIT
#pragma once

#include <string>

// Why a request is not served: the status of the answer with its phrase, and a sentence for whoever
// meets it.
struct Refusal {
    int status = 0;
    const char* phrase = nullptr;
    const char* reason = nullptr;

    explicit operator bool() const { return status != 0; }
};

inline Refusal badRequest(const char* reason) {
    return {400, "Bad Request", reason};
}

// The whole answer that a refused request gets.
std::string answerTo(const Refusal& refusal);
