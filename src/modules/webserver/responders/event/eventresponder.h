// SPDX-License-Identifier: MIT

// responders/event/: Event queues, and the long polls and streams of their clients.
#pragma once

#include "core/model/cmeventqueue.h"
#include "responders/responder.h"

#include <QPointer>
#include <QSharedPointer>
#include <QVariant>

#include <memory>

class CMEventQueueHttpRequest;
class EventResponderShared;
class EventStream;
class HangUpNotifier;

// Implements /api/event/modifyQueue, with which a client creates a queue and changes its
// subscriptions, and /api/event/pollQueue, which waits for events (long-poll), or sends them as a
// stream to clients that accept one. When the client leaves, the poll is cancelled, and the events
// remain in the queue for the next poll.
//
// A poll with a number says which batch of events was the last to arrive. It gets the next one,
// with its number, also when that was sent before.
class EventResponder : public Responder {
    Q_OBJECT

public:
    // The parameters of a request.
    struct SubscribeData {
        QString queueId;        // empty when absent
        QVariantList subscribe; // of records
        QVariantList unsubscribe;
        int timeout = -1; // seconds; -1 when absent
        int seq = -1;     // the last batch that arrived; -1 when absent
    };

    EventResponder(Request& request, const QString& documentRoot,
                   QSharedPointer<EventResponderShared> shared, QObject* parent = nullptr);
    ~EventResponder() override;

    void respond() override;
    bool respondWillBlock() override { return false; }
    void setRequestId(int requestId) override { m_requestId = requestId; }

    QSharedPointer<EventResponderShared> shared() const { return m_shared; }
    // Answers the poll with these events, or sends them to the stream. Called at most once for each
    // poll of the queue.
    void queueRequestDone(const PlixList<PlixEvent>& events);
    // Another poll or stream gets the queue's events.
    void endStream();

private Q_SLOTS:
    void on_request_finished();
    void on_hangUpNotifier_hungUp();
    void on_stream_wanted();

private:
    void modifyQueue();
    CMEventQueue* changedQueue(const QString& queueId, const SubscribeData& data);
    void pollQueue();
    bool wantsStream() const;
    void openStream(const SubscribeData& data);
    bool parseData(SubscribeData* data, const QByteArray& failure);
    bool parseDataGet(SubscribeData* data) const;
    bool parseDataPost(SubscribeData* data) const;
    bool respondKeptBatch();
    void respondEvents(const PlixList<PlixEvent>& events);
    void respondBatch(int number, const QByteArray& events);
    void respondJson(const QByteArray& json);
    void refuse(int status, const QByteArray& text);
    void finishRespond(int status, const QByteArray& text);
    void follow(CMEventQueue* queue);
    void startPoll();
    void cancelPoll();

    QSharedPointer<EventResponderShared> m_shared;
    int m_requestId = 0;
    // The pending poll and the queue, which owns it.
    QPointer<CMEventQueue> m_queue;
    QString m_queueId;
    CMEventQueueHttpRequest* m_poll = nullptr;
    int m_timeoutS = 0;
    // See SubscribeData.
    int m_seq = -1;
    std::unique_ptr<EventStream> m_stream;
    std::unique_ptr<HangUpNotifier> m_hangUpNotifier;
};
