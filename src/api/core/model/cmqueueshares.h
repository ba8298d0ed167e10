// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QString>

#include <map>
#include <utility>

class CMEventQueue;

// Counts the queues and subscriptions of each client, and lists the queues that were never polled
// by age. Owned and updated by the manager of the queues.
class CMQueueShares {
public:
    struct Share {
        int queues = 0;
        int subscriptions = 0;
    };

    // Returns the number that identifies the queue in the other functions.
    quint64 add(const QString& client, CMEventQueue* queue);
    // To be called when a queue without subscriptions is deleted.
    void remove(const QString& client, quint64 number);
    void setPolled(const QString& client, quint64 number);
    void addSubscriptions(const QString& client, int count);

    Share of(const QString& client) const { return m_shares.value(client); }
    int subscriptions() const { return m_subscriptions; }
    // Null when all queues were polled.
    CMEventQueue* oldestUnpolled() const;
    CMEventQueue* oldestUnpolled(const QString& client) const;

private:
    void dropIfEmpty(const QString& client);

    QHash<QString, Share> m_shares;
    std::map<quint64, CMEventQueue*> m_unpolled;
    std::map<std::pair<QString, quint64>, CMEventQueue*> m_unpolledOf;
    int m_subscriptions = 0;
    quint64 m_lastNumber = 0;
};
