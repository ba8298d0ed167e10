// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmpendingevent.h"
#include "plixexport.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QUuid>

#include <memory>
#include <vector>

class CMEventQueue;
class CMEventQueueManager;

// The receiver of one poll. poll() transfers it to the queue, which calls eventsReady() exactly
// once and deletes it. If the queue is deleted first, it is deleted without a call.
class CMEventQueueRequest {
public:
    virtual ~CMEventQueueRequest() = default;
    // `queue` may be used during the call only.
    virtual void eventsReady(CMEventQueue* queue, const PlixList<PlixEvent>& events) = 0;
};

// The pending events of one client, and the pending poll. Owned by its manager.
class PLIX_EXPORT CMEventQueue : public QObject {
    Q_OBJECT

public:
    ~CMEventQueue() override;

    QUuid id() const { return m_id; }

    // Passes the pending events to the request: at once if there are any, otherwise when the first
    // event arrives, or an empty list after `timeout` seconds (0: at once). An earlier pending
    // request gets an empty list, so that no event is lost with a client that has left.
    void poll(CMEventQueueRequest* request, int timeout);
    // Deletes a pending request without a call, because its client has left. Does nothing when the
    // request is not pending.
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
    // Drops the pending events of other paths.
    void setPaths(const QSet<CMPath>& paths);
    // Passes the pending events to the pending poll, if there is one.
    void answerPoll();
    PlixList<PlixEvent> takeEvents();

    const QUuid m_id;
    // The key in the manager's CMQueueShares.
    QString m_client;
    quint64 m_number = 0;
    CMEventQueueManager* const m_manager;
    // The pending poll. While there is one, there are no pending events.
    std::unique_ptr<CMEventQueueRequest> m_waiting;
    QSet<CMPath> m_paths;
    // In the order of their first occurrence, at most one for each path; the index maps paths to
    // positions.
    std::vector<PathEvent> m_pending;
    QHash<CMPath, std::size_t> m_pendingIndex;
    // By the manager's clock: the time-out of the pending poll, or without one of the queue.
    qint64 m_deadline = 0;
};
