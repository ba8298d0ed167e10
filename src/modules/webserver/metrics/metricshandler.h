// SPDX-License-Identifier: MIT
#pragma once

#include "handlers/handler.h"
#include "metrics/metricfamily.h"

#include <QStringList>

#include <functional>
#include <vector>

// Answers with the metrics in the text format of OpenMetrics, to clients of the device itself and
// of some addresses.
class MetricsHandler : public Handler {
    Q_OBJECT

public:
    static constexpr const char* path = "/metrics";
    using Collect = std::function<std::vector<MetricFamily>()>;

    // `clients`: addresses as text.
    MetricsHandler(Collect collect, QStringList clients, QObject* parent);

    void handle(Message* message) override;

private:
    bool isAccepted(const Message* message) const;

    Collect m_collect;
    QStringList m_clients;
};
