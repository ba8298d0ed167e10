// SPDX-License-Identifier: MIT
#include "responders/event/eventrespondershared.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"

EventResponderShared::EventResponderShared(QObject* parent) : QObject(parent) {
    plixConnect(&m_eventQueues, &CMEventQueueManager::expired, this,
                &EventResponderShared::on_queue_expired);
}

void EventResponderShared::on_queue_expired(const QString& quuid) {
    m_legacyQueues.remove(quuid);
    dbglog_debug("Removing expired queue id: " << quuid << " from queueId legacy path set");
}
