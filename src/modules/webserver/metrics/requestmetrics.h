// SPDX-License-Identifier: MIT

// metrics/: Figures of the server's work for operators, and the access log.
#pragma once

#include "connection/exchangeobserver.h"
#include "metrics/metricfamily.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

// Counts the requests of all servers of a worker.
class RequestMetrics : public ExchangeObserver {
public:
    // In seconds, of the histogram of durations. Polls and streams take as long as they wait.
    static constexpr std::array durations{0.001, 0.0025, 0.005, 0.01, 0.025, 0.05,
                                          0.1,   0.25,   0.5,   1.0,  5.0,   30.0};

    void on_exchange_ended(const EndedExchange& exchange) override;
    void on_refused(const Refusal& refusal, const std::string& remote) override;
    void on_given_up(const char* reason) override;

    // The part of the server that answers: "api", "event", "stream", "file", "proxy", "upload",
    // "page", "static" or "metrics".
    static const char* areaOf(const SoupMessage* message);
    std::vector<MetricFamily> families() const;

private:
    struct Durations {
        // Of each length up to those above, and longer.
        std::array<std::int64_t, durations.size() + 1> counts{};
        double seconds = 0;
    };
    using Key = std::pair<std::string, std::string>;

    MetricFamily requests() const;
    MetricFamily requestSeconds() const;
    MetricFamily refusals() const;
    MetricFamily givenUp() const;

    // By area and status.
    std::map<Key, std::int64_t> m_requests;
    // By area.
    std::map<std::string, Durations> m_durations;
    // By status and reason.
    std::map<Key, std::int64_t> m_refusals;
    std::map<std::string, std::int64_t> m_givenUp;
    std::int64_t m_receivedBytes = 0;
    std::int64_t m_sentBytes = 0;
};
