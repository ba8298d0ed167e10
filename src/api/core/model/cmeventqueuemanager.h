#pragma once

#include "core/model/cmeventqueue.h"
#include "core/model/cmqueueshares.h"
#include "core/plixvalue.h"

#include <QElapsedTimer>
#include <QSharedPointer>
#include <QTimer>

#include <memory>
#include <set>
#include <utility>

// The event queues of the clients, which it owns. Watches each subscribed path once, whatever the
// number of queues, and hands a change to the queues that subscribed to its path only. Changes of
// internal nodes, and of nodes whose Internal role cannot be read, are never delivered.
class CMEventQueueManager : public QObject {
    Q_OBJECT

public:
    // A queue without a poll waiting or arriving for this long is dropped.
    static constexpr int defaultExpiryMs = 60000;
    // These bound what clients can make the device remember. The last one is for all queues
    // together, at about a kilobyte for each path that nobody else watches, and a few more where
    // rows change.
    static constexpr int maximumQueues = 20000;
    static constexpr int maximumPathsPerQueue = 4096;
    static constexpr int maximumPathLength = 1024;
    static constexpr int maximumSubscriptions = 65536;
    // Of one client, so that it takes many to keep others from having any. Every browser without
    // tabs that share has one queue per tab, and an address may stand for a whole network.
    static constexpr int maximumQueuesPerClient = 2000;
    static constexpr int maximumSubscriptionsPerClient = maximumSubscriptions / 4;

    explicit CMEventQueueManager(QObject* parent = nullptr);
    ~CMEventQueueManager() override;

    // Holds for the queues that are created, polled or answered from now on.
    void setExpiry(int milliseconds) { m_expiryMs = milliseconds; }

    // Adds and removes subscriptions of the queue, or of a new one when `queueId` names none. A
    // path in both lists stays subscribed. A new queue counts towards the share of `client`, a text
    // that tells clients apart, such as an address. Where a limit is reached, queues that were
    // never polled are let go, the oldest first. Null, with the queue unchanged, when an entry
    // names no path or that does not help.
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

    // A subscribed path. Whether its node is internal is asked anew for every change; while an
    // answer is awaited, later changes gather for the next question, so that none overtakes
    // another.
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
    // What a request adds to what `client` has.
    struct Need {
        QString client;
        int queues;
        int subscriptions;
    };
    bool isWithinShare(const Need& need) const;
    bool isWithinLimits(const Need& need) const;
    // Lets queues go until there is room, but not `kept`. False when that does not help.
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
