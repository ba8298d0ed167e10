// SPDX-License-Identifier: MIT
#include "metrics/requestmetrics.h"

#include <algorithm>

namespace {

constexpr double microsecondsPerSecond = 1e6;

// OpenMetrics wants a point in each.
std::string boundText(double bound) {
    const QByteArray text = QByteArray::number(bound);
    return (text.contains('.') ? text : text + ".0").toStdString();
}

MetricFamily byTwo(const char* name, const char* help, std::pair<const char*, const char*> labels,
                   const std::map<std::pair<std::string, std::string>, std::int64_t>& counts) {
    MetricFamily family{name, MetricFamily::Type::Counter, help, {}};
    for (const auto& [key, count] : counts)
        family.samples.push_back(
            {"_total", {{labels.first, key.first}, {labels.second, key.second}}, double(count)});
    return family;
}

} // namespace

const char* RequestMetrics::areaOf(const SoupMessage* message) {
    static constexpr std::pair<const char*, const char*> prefixes[] = {
        {"/api/event/", "event"},  {"/api/stream/", "stream"}, {"/api/", "api"},
        {"/file/stream/", "file"}, {"/proxy/", "proxy"},       {"/metrics", "metrics"}};
    const char* type = soup_message_headers_get_content_type(message->request_headers, nullptr);
    if (g_strcmp0(type, SOUP_FORM_MIME_TYPE_MULTIPART) == 0)
        return "upload";
    SoupURI* uri = soup_message_get_uri(const_cast<SoupMessage*>(message));
    const char* path = uri ? uri->path : "";
    for (const auto& [prefix, area] : prefixes) {
        if (g_str_has_prefix(path, prefix))
            return area;
    }
    return g_str_has_suffix(path, ".fcgi") ? "page" : "static";
}

void RequestMetrics::on_exchange_ended(const EndedExchange& exchange) {
    const char* area = areaOf(exchange.message);
    ++m_requests[{area, std::to_string(exchange.status)}];
    m_receivedBytes += exchange.receivedBytes;
    m_sentBytes += exchange.sentBytes;
    const double seconds = double(exchange.microseconds) / microsecondsPerSecond;
    Durations& times = m_durations[area];
    const auto* bound = std::lower_bound(durations.begin(), durations.end(), seconds);
    ++times.counts.at(std::size_t(bound - durations.begin()));
    times.seconds += seconds;
}

void RequestMetrics::on_refused(const Refusal& refusal, const std::string&) {
    ++m_refusals[{std::to_string(refusal.status), refusal.reason}];
}

void RequestMetrics::on_given_up(const char* reason) {
    ++m_givenUp[reason];
}

std::vector<MetricFamily> RequestMetrics::families() const {
    return {requests(),
            requestSeconds(),
            refusals(),
            givenUp(),
            MetricFamily::counter("plix_received_bytes", "Bytes of bodies of requests.",
                                  double(m_receivedBytes)),
            MetricFamily::counter("plix_sent_bytes", "Bytes of bodies of answers.",
                                  double(m_sentBytes))};
}

MetricFamily RequestMetrics::requests() const {
    return byTwo("plix_requests", "Requests that are over; 499: the client left before.",
                 {"area", "status"}, m_requests);
}

MetricFamily RequestMetrics::refusals() const {
    return byTwo("plix_refusals", "Requests that were not passed on.", {"status", "reason"},
                 m_refusals);
}

MetricFamily RequestMetrics::givenUp() const {
    MetricFamily family{"plix_connections_given_up",
                        MetricFamily::Type::Counter,
                        "Connections that made room for others.",
                        {}};
    for (const auto& [reason, count] : m_givenUp)
        family.samples.push_back({"_total", {{"reason", reason}}, double(count)});
    return family;
}

MetricFamily RequestMetrics::requestSeconds() const {
    MetricFamily family{"plix_request_seconds",
                        MetricFamily::Type::Histogram,
                        "From a request's head to the end of its answer.",
                        {}};
    for (const auto& [area, times] : m_durations) {
        std::int64_t sum = 0;
        for (std::size_t index = 0; index < times.counts.size(); ++index) {
            sum += times.counts.at(index);
            const std::string bound =
                index < durations.size() ? boundText(durations.at(index)) : "+Inf";
            family.samples.push_back({"_bucket", {{"area", area}, {"le", bound}}, double(sum)});
        }
        family.samples.push_back({"_count", {{"area", area}}, double(sum)});
        family.samples.push_back({"_sum", {{"area", area}}, times.seconds});
    }
    return family;
}
