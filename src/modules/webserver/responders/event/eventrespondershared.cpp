// SPDX-License-Identifier: MIT
#include "responders/event/eventrespondershared.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"
#include "responders/event/eventresponder.h"

EventResponderShared::EventResponderShared(QObject* parent) : QObject(parent) {
    plixConnect(&m_eventQueues, &CMEventQueueManager::expired, this,
                &EventResponderShared::on_queue_expired);
}

void EventResponderShared::setStream(const QString& queueId, EventResponder* stream) {
    EventResponder* const earlier = m_streams.take(queueId);
    if (stream)
        m_streams.insert(queueId, stream);
    if (earlier)
        earlier->endStream();
}

void EventResponderShared::removeStream(const QString& queueId, const EventResponder* stream) {
    const auto found = m_streams.find(queueId);
    if (found != m_streams.end() && *found == stream)
        m_streams.erase(found);
}

void EventResponderShared::on_queue_expired(const QString& quuid) {
    m_queues.remove(quuid);
    m_batches.remove(quuid);
    m_legacyQueues.remove(quuid);
    dbglog_debug("Removing expired queue id: " << quuid << " from queueId legacy path set");
}
