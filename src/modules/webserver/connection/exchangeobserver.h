// SPDX-License-Identifier: MIT
#pragma once

#include "connection/refusal.h"

#include <libsoup/soup.h>

#include <cstdint>
#include <string>

// A request that has been passed to libsoup and is over now.
struct EndedExchange {
    // For clients that left before their answer began. Never sent; logs of other servers use it.
    static constexpr int clientLeft = 499;

    const SoupMessage* message;
    int status;
    std::int64_t receivedBytes; // of the request's body
    std::int64_t sentBytes;     // of the answer's body
    std::int64_t microseconds;
    std::string remote; // the client's address
};

// Is told of all requests of a server, and why others were not served. Must not end any.
class ExchangeObserver {
public:
    virtual ~ExchangeObserver() = default;
    virtual void on_exchange_ended(const EndedExchange&) {}
    // Also of a request that never became an exchange.
    virtual void on_refused(const Refusal&, const std::string& /*remote*/) {}
    virtual void on_given_up(const char* /*reason*/) {}
};
