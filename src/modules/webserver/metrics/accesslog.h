// SPDX-License-Identifier: MIT
#pragma once

#include "connection/exchangeobserver.h"

#include <QDateTime>

// Logs each request in the combined format, to the logger "Access".
class AccessLog : public ExchangeObserver {
public:
    void on_exchange_ended(const EndedExchange& exchange) override;

    // `when` is written in UTC.
    static QByteArray line(const EndedExchange& exchange, const QDateTime& when);
};
