#pragma once

#include <QHash>
#include <QString>

#include <map>
#include <utility>

class CMEventQueue;

// How many queues and subscriptions each client has, and which queues were never polled, in the
// order of their age. Owned by the manager of the queues, which tells it what becomes of them.
class CMQueueShares {
public:
    struct Share {
        int queues = 0;
        int subscriptions = 0;
    };

    // The number that the queue goes by from now on.
    quint64 add(const QString& client, CMEventQueue* queue);
    // A queue without subscriptions ends.
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
