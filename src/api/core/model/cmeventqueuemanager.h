// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmeventqueue.h"
#include "core/model/cmqueueshares.h"
#include "core/plixvalue.h"
#include "plixexport.h"

#include <QElapsedTimer>
#include <QSharedPointer>
#include <QTimer>

#include <memory>
#include <set>
#include <utility>

// Owns the event queues of the clients. It subscribes to each path once, whatever the number of
// queues, and adds a change to the queues that are subscribed to its path. Changes of internal
// nodes, and of nodes whose role Internal cannot be read, are not delivered.
class PLIX_EXPORT CMEventQueueManager : public QObject {
    Q_OBJECT

public:
    // A queue without a pending or new poll for this time is deleted.
    static constexpr int defaultExpiryMs = 60000;
    // These limit the memory that clients can use. The last one is for all queues together. A path
    // takes about a kilobyte if no other queue is subscribed to it, and more when its rows change.
    static constexpr int maximumQueues = 20000;
    static constexpr int maximumPathsPerQueue = 4096;
    static constexpr int maximumPathLength = 1024;
    static constexpr int maximumSubscriptions = 65536;
    // Of one client, so that a single client cannot use up the limits. A browser may have a queue
    // for each tab, and all clients behind a NAT have one address.
    static constexpr int maximumQueuesPerClient = 2000;
    static constexpr int maximumSubscriptionsPerClient = maximumSubscriptions / 4;

    explicit CMEventQueueManager(QObject* parent = nullptr);
    ~CMEventQueueManager() override;

    // Applies to the queues that are created, polled or answered from now on.
    void setExpiry(int milliseconds) { m_expiryMs = milliseconds; }

    // Adds and removes subscriptions of the queue, or of a new one when there is no queue of that
    // identifier. A path in both lists stays subscribed. `client` identifies the client, for
    // example by its address; a new queue counts towards its share. When a limit is reached, queues
    // that were never polled are deleted, the oldest first. Null, with the queue unchanged, when
    // an entry has no valid path or the limit is still exceeded.
    CMEventQueue* modifyQueue(const QString& queueId, PlixList<PlixEventSubscribe>& subscribe,
                              PlixList<PlixEventSubscribe>& unsubscribe,
                              const QString& client = QString());
    // Null when there is no such queue.
    CMEventQueue* getQueue(const QString& queueId) const;

Q_SIGNALS:
    void expired(const QString& queueId);

private Q_SLOTS:
    void on_root_valueChanged(const PlixValue& value, const CMPath& path);
    void on_root_rowsChanged(const QVariantList& rowEvents, const CMPath& path);
    void on_timer_timeout();

private:
    friend class CMEventQueue;

    // A subscribed path. The role Internal of its node is read for every change. Changes during a
    // read are collected for the next one, so that their order is preserved.
    struct Watch {
        QSet<CMEventQueue*> queues;
        CMPendingEvent inQuestion;
        CMPendingEvent gathered;
        bool isAsking = false;
    };
    using Deadline = std::pair<qint64, CMEventQueue*>;

    void scheduleExpiry(CMEventQueue* queue) { schedule(queue, m_expiryMs); }
    void schedule(CMEventQueue* queue, qint64 milliseconds);
    void startTimer();
    void expire(CMEventQueue* queue);

    CMEventQueue* createQueue(const QString& client);
    // What a request adds to the share of `client`.
    struct Need {
        QString client;
        int queues;
        int subscriptions;
    };
    bool isWithinShare(const Need& need) const;
    bool isWithinLimits(const Need& need) const;
    // Deletes queues, except `kept`, until the request is within the limits. False when it is not.
    bool makeRoom(const Need& need, const CMEventQueue* kept);
    void setPolled(CMEventQueue* queue);
    void setPaths(CMEventQueue* queue, const QSet<CMPath>& paths);
    void watch(const CMPath& path, CMEventQueue* queue);
    void unwatch(const CMPath& path, CMEventQueue* queue);

    void changed(const CMPath& path, const CMPendingEvent& event);
    void askInternal(const CMPath& path, const std::shared_ptr<Watch>& watch);
    void deliver(const CMPath& path, const Watch& watch, const CMPendingEvent& event);

    int m_expiryMs = defaultExpiryMs;
    CMQueueShares m_shares;
    QHash<QString, QSharedPointer<CMEventQueue>> m_queues;
    QHash<CMPath, std::shared_ptr<Watch>> m_watches;
    // One timer serves the deadlines of all queues.
    std::set<Deadline> m_deadlines;
    QElapsedTimer m_clock;
    QTimer m_timer;
    qint64 m_timerDeadline = 0;
};
