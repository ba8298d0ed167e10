// SPDX-License-Identifier: MIT
#pragma once

#include "connection/refusal.h"

#include <cstdint>
#include <string>
#include <string_view>

// What the head of a request says about the connection and about where its body ends.
struct RequestHead {
    bool isHttp11 = false;
    bool isHead = false;
    bool isChunked = false;
    // Of a body with a length.
    std::int64_t contentLength = 0;
    bool keepsAlive = false;
};

// Reads a whole head as HeadScanner has found it, including the empty line, and appends to `vetted`
// what the engine gets of it. Appends nothing to it when the head is refused.
//
// What is passed on says nothing about the client's connection: headers that are for one connection
// only are left out, with them those that Connection names (but none of those which say what the
// request is, such as Host and Content-Length), and the engine is told to close.
Refusal readHead(std::string_view head, bool isSecure, RequestHead& request, std::string& vetted);
