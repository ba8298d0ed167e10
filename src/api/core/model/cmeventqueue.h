#pragma once

#include "core/model/cmpendingevent.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QUuid>

#include <memory>
#include <vector>

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

// The pending events of one client, and the poll that waits for them. Owned by its manager, which
// fills it and ends it.
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
    struct PathEvent {
        CMPath path;
        CMPendingEvent event;
    };

    CMEventQueue(const QUuid& id, CMEventQueueManager* manager);

    bool hasWaitingPoll() const { return m_waiting != nullptr; }
    void append(const CMPath& path, const CMPendingEvent& event);
    // Keeps the pending events of subscribed paths only.
    void setPaths(const QSet<CMPath>& paths);
    // Answers the waiting poll, if any, with what is pending.
    void answerPoll();
    PlixList<PlixEvent> takeEvents();

    const QUuid m_id;
    // What the manager's shares know it by.
    QString m_client;
    quint64 m_number = 0;
    CMEventQueueManager* const m_manager;
    // While it waits, nothing is pending.
    std::unique_ptr<CMEventQueueRequest> m_waiting;
    QSet<CMPath> m_paths;
    // In the order of their first occurrence, at most one of each path; the index has the
    // positions.
    std::vector<PathEvent> m_pending;
    QHash<CMPath, std::size_t> m_pendingIndex;
    // When the waiting poll ends, or without one the queue, by the manager's clock.
    qint64 m_deadline = 0;
};
