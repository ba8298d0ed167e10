// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmeventqueuemanager.h"

#include <QObject>
#include <QSet>
#include <QString>

// The shared state of all event responders of a worker: the event queues, and which of them were
// subscribed with a legacy path and get legacy paths in their events. Lives as long as the worker
// and the last responder.
class EventResponderShared : public QObject {
    Q_OBJECT

public:
    explicit EventResponderShared(QObject* parent = nullptr);

    CMEventQueueManager* eventQueues() { return &m_eventQueues; }
    bool isLegacyQueue(const QString& queueId) const { return m_legacyQueues.contains(queueId); }
    void addLegacyQueue(const QString& queueId) { m_legacyQueues.insert(queueId); }

private Q_SLOTS:
    void on_queue_expired(const QString& quuid);

private:
    QSet<QString> m_legacyQueues;
    CMEventQueueManager m_eventQueues;
};
