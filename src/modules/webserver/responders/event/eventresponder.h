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
class HangUpWatch;

// Answers /api/event/modifyQueue, by which a client creates a queue and changes what it is
// subscribed to, and /api/event/pollQueue, which waits for events. A poll whose client leaves is
// taken back from its queue: the events stay pending for the next poll.
class EventResponder : public Responder {
    Q_OBJECT

public:
    // What a request carries.
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
    // The answer to a poll. Called at most once.
    void queueRequestDone(const PlixList<PlixEvent>& events);

private Q_SLOTS:
    void on_request_finished();
    void on_hangUpWatch_hungUp();

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
    // The poll that waits, which its queue owns.
    QPointer<CMEventQueue> m_queue;
    CMEventQueueHttpRequest* m_poll = nullptr;
    std::unique_ptr<HangUpWatch> m_hangUpWatch;
};
