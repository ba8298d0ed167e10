#pragma once

#include "core/model/cmevents.h"

#include <QHash>
#include <QObject>
#include <QString>
#include <QUuid>

#include <memory>

class CMEventQueue;
class CMEventQueueManager;

// The receiver of one poll. The queue owns it from poll() on, calls eventsReady() exactly once and
// deletes it after that; when the queue ends first it is deleted without a call.
class CMEventQueueRequest {
public:
    virtual ~CMEventQueueRequest() = default;
    // `queue` may be used during the call only.
    virtual void eventsReady(CMEventQueue* queue, const PlixList<PlixEvent>& events) = 0;
};

// The pending events of one client, and the poll that waits for them. Owned by its manager.
class CMEventQueue : public QObject {
    Q_OBJECT

public:
    ~CMEventQueue() override;

    QUuid id() const { return m_id; }

    // Hands the pending events to the request at once, or when the first event arrives, or an
    // empty list when `timeout` seconds have passed (0: at once). An earlier request that still
    // waits is answered with an empty list, so that no event goes to a client that has left.
    void poll(CMEventQueueRequest* request, int timeout);
    // Takes a waiting request back, which is deleted without having been called; for a client
    // that has gone. Nothing happens when the request is not the one waiting.
    void cancel(CMEventQueueRequest* request);

private:
    friend class CMEventQueueManager;
    class Private;
    CMEventQueue(const QUuid& id, CMEventQueueManager* manager);

    QUuid m_id;
    std::unique_ptr<Private> d;
};

// The event queues of the clients. Watches each subscribed path once, whatever the number of
// queues, and hands a change to the queues that subscribed to its path only. Changes of internal
// nodes are never delivered.
class CMEventQueueManager : public QObject {
    Q_OBJECT

public:
    // A queue without a poll waiting or arriving for this long is dropped.
    static constexpr int defaultExpiryMs = 60000;
    // Bounds what clients can make the device remember.
    static constexpr int maximumQueues = 20000;
    static constexpr int maximumPathsPerQueue = 4096;

    explicit CMEventQueueManager(QObject* parent = nullptr);
    ~CMEventQueueManager() override;

    void setExpiry(int milliseconds);

    // Adds and removes subscriptions of the queue, or of a new one when `queueId` names none.
    // Null, with nothing changed, when an entry names no path or a limit is reached.
    CMEventQueue* modifyQueue(const QString& queueId, PlixList<PlixEventSubscribe>& subscribe,
                              PlixList<PlixEventSubscribe>& unsubscribe);
    // Null when there is no such queue.
    CMEventQueue* getQueue(const QString& queueId) const;

Q_SIGNALS:
    void expired(const QString& queueId);

private:
    friend class CMEventQueue;
    class Private;
    std::unique_ptr<Private> d;
};
