// SPDX-License-Identifier: MIT

// responders/event/: Event queues and the long polls of their clients.
#pragma once

#include "core/model/cmeventqueue.h"
#include "responders/responder.h"

#include <QPointer>
#include <QSharedPointer>
#include <QVariant>

#include <memory>

class CMEventQueueHttpRequest;
class EventResponderShared;
class HangUpNotifier;

// Implements /api/event/modifyQueue, with which a client creates a queue and changes its
// subscriptions, and /api/event/pollQueue, which waits for events (long-poll). When the client
// leaves, the poll is cancelled, and the events remain in the queue for the next poll.
class EventResponder : public Responder {
    Q_OBJECT

public:
    // The parameters of a request.
    struct SubscribeData {
        QString queueId;        // empty when absent
        QVariantList subscribe; // of records
        QVariantList unsubscribe;
        int timeout = -1; // seconds; -1 when absent
    };

    EventResponder(Request& request, const QString& documentRoot,
                   QSharedPointer<EventResponderShared> shared, QObject* parent = nullptr);
    ~EventResponder() override;

    void respond() override;
    bool respondWillBlock() override { return false; }
    void setRequestId(int requestId) override { m_requestId = requestId; }

    QSharedPointer<EventResponderShared> shared() const { return m_shared; }
    // Answers the poll with these events. Called at most once.
    void queueRequestDone(const PlixList<PlixEvent>& events);

private Q_SLOTS:
    void on_request_finished();
    void on_hangUpNotifier_hungUp();

private:
    void modifyQueue();
    void pollQueue();
    bool parseData(SubscribeData* data, const QByteArray& failure);
    bool parseDataGet(SubscribeData* data) const;
    bool parseDataPost(SubscribeData* data) const;
    void respondJson(const QVariant& body);
    void refuse(int status, const QByteArray& text);
    void finishRespond(int status, const QByteArray& text);
    void startPoll(CMEventQueue* queue, int timeout);
    void cancelPoll();

    QSharedPointer<EventResponderShared> m_shared;
    int m_requestId = 0;
    // The pending poll and the queue, which owns it.
    QPointer<CMEventQueue> m_queue;
    CMEventQueueHttpRequest* m_poll = nullptr;
    std::unique_ptr<HangUpNotifier> m_hangUpNotifier;
};
