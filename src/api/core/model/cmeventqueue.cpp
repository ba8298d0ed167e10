// SPDX-License-Identifier: MIT
#include "core/model/cmeventqueue.h"

#include "core/model/cmeventqueuemanager.h"

#include <QPointer>

#include <algorithm>
#include <utility>

CMEventQueue::CMEventQueue(const QUuid& id, CMEventQueueManager* manager)
    : m_id(id), m_manager(manager) {}

CMEventQueue::~CMEventQueue() = default;

void CMEventQueue::poll(CMEventQueueRequest* request, int timeout) {
    m_manager->setPolled(this);
    std::unique_ptr<CMEventQueueRequest> incoming(request);
    const auto earlier = std::move(m_waiting);
    const PlixList<PlixEvent> events = takeEvents();
    if (timeout > 0 && events.isEmpty()) {
        m_waiting.swap(incoming);
        m_manager->schedule(this, qint64(timeout) * 1000);
    } else {
        m_manager->scheduleExpiry(this);
    }

    // A callee may poll again or delete this queue.
    const QPointer<CMEventQueue> self(this);
    if (earlier)
        earlier->eventsReady(this, {});
    if (self && incoming)
        incoming->eventsReady(this, events);
}

void CMEventQueue::cancel(CMEventQueueRequest* request) {
    if (!request || request != m_waiting.get())
        return;
    m_waiting.reset();
    m_manager->scheduleExpiry(this);
}

void CMEventQueue::append(const CMPath& path, const CMPendingEvent& event) {
    const auto position = m_pendingIndex.constFind(path);
    if (position != m_pendingIndex.constEnd()) {
        m_pending[*position].event.merge(event);
        return;
    }
    m_pendingIndex.insert(path, m_pending.size());
    m_pending.push_back({path, event});
}

void CMEventQueue::setPaths(const QSet<CMPath>& paths) {
    m_paths = paths;
    const auto unsubscribed = [this](const PathEvent& pending) {
        return !m_paths.contains(pending.path);
    };
    m_pending.erase(std::remove_if(m_pending.begin(), m_pending.end(), unsubscribed),
                    m_pending.end());
    m_pendingIndex.clear();
    for (std::size_t position = 0; position < m_pending.size(); ++position)
        m_pendingIndex.insert(m_pending[position].path, position);
}

void CMEventQueue::answerPoll() {
    if (!m_waiting)
        return;
    const auto request = std::move(m_waiting);
    m_manager->scheduleExpiry(this);
    request->eventsReady(this, takeEvents());
}

PlixList<PlixEvent> CMEventQueue::takeEvents() {
    PlixList<PlixEvent> events;
    for (const PathEvent& pending : m_pending) {
        // Its row events may have cancelled each other.
        if (!pending.event.isEmpty())
            events.append(pending.event.toEvent(pending.path));
    }
    m_pending.clear();
    m_pendingIndex.clear();
    return events;
}
