// SPDX-License-Identifier: MIT
#include "core/model/cmqueueshares.h"

quint64 CMQueueShares::add(const QString& client, CMEventQueue* queue) {
    ++m_shares[client].queues;
    const quint64 number = ++m_lastNumber;
    m_unpolled.emplace(number, queue);
    m_unpolledOf.emplace(std::pair(client, number), queue);
    return number;
}

void CMQueueShares::remove(const QString& client, quint64 number) {
    setPolled(client, number);
    --m_shares[client].queues;
    dropIfEmpty(client);
}

void CMQueueShares::setPolled(const QString& client, quint64 number) {
    if (m_unpolled.erase(number) > 0)
        m_unpolledOf.erase({client, number});
}

void CMQueueShares::addSubscriptions(const QString& client, int count) {
    m_subscriptions += count;
    m_shares[client].subscriptions += count;
    dropIfEmpty(client);
}

void CMQueueShares::dropIfEmpty(const QString& client) {
    const Share share = m_shares.value(client);
    if (share.queues == 0 && share.subscriptions == 0)
        m_shares.remove(client);
}

CMEventQueue* CMQueueShares::oldestUnpolled() const {
    return m_unpolled.empty() ? nullptr : m_unpolled.begin()->second;
}

CMEventQueue* CMQueueShares::oldestUnpolled(const QString& client) const {
    const auto oldest = m_unpolledOf.lower_bound({client, 0});
    const bool isOfClient = oldest != m_unpolledOf.end() && oldest->first.first == client;
    return isOfClient ? oldest->second : nullptr;
}
