// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmeventqueuemanager.h"
#include "responders/event/eventbatches.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>

class EventResponder;

// The shared state of all event responders of a worker: the event queues, which of them were
// subscribed with a legacy path and get legacy paths in their events, and what was sent to clients
// that number what they get. Lives as long as the worker and the last responder.
class EventResponderShared : public QObject {
    Q_OBJECT

public:
    explicit EventResponderShared(QObject* parent = nullptr);

    CMEventQueueManager* eventQueues() { return &m_eventQueues; }
    bool isLegacyQueue(const QString& queueId) const { return m_legacyQueues.contains(queueId); }
    void addLegacyQueue(const QString& queueId) { m_legacyQueues.insert(queueId); }
    EventBatches& batches() { return m_batches; }
    void addQueue(const QString& queueId) { m_queues.insert(queueId); }
    int queues() const { return m_queues.size(); }

    // Ends the stream that gets the queue's events; `stream` gets them from now on. Null when a
    // poll does.
    void setStream(const QString& queueId, EventResponder* stream);
    // `stream` has ended.
    void removeStream(const QString& queueId, const EventResponder* stream);

private Q_SLOTS:
    void on_queue_expired(const QString& quuid);

private:
    QSet<QString> m_queues;
    QSet<QString> m_legacyQueues;
    EventBatches m_batches;
    QHash<QString, EventResponder*> m_streams;
    CMEventQueueManager m_eventQueues;
};
