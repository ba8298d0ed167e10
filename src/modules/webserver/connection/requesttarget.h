// SPDX-License-Identifier: MIT
#pragma once

#include "connection/refusal.h"

#include <string_view>

// The target of a request line, and how it goes together with the Host header.
struct RequestTarget {
    // Of an absolute target only.
    std::string_view authority;
    // "*", or path and query as they came; of an absolute target without a path perhaps empty, or
    // only a query.
    std::string_view path;
    bool isAbsolute = false;
};

// Accepts a path, "*" with OPTIONS, and an absolute URI of the connection's own scheme.
Refusal readTarget(std::string_view method, std::string_view text, bool isSecure,
                   RequestTarget& target);

// Refuses what would make a URI with this host mean something else than the host.
Refusal checkHost(std::string_view host);

// Whether the authority of an absolute target and the Host header name the same host and port.
bool namesSameHost(std::string_view authority, std::string_view host, bool isSecure);

// Whether "http://HOST/" is a URI beyond doubt: a name or a bracketed address, and perhaps a port.
bool isPlainHost(std::string_view host);
