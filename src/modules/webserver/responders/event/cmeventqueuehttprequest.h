#pragma once

#include "core/model/cmeventqueue.h"

#include <QPointer>

class EventResponder;

// The poll of an event responder: hands the events on, in the form that HTTP clients know. Owned
// by the queue.
class CMEventQueueHttpRequest : public CMEventQueueRequest {
public:
    explicit CMEventQueueHttpRequest(EventResponder* responder);

    void eventsReady(CMEventQueue* queue, const PlixList<PlixEvent>& events) override;

private:
    QPointer<EventResponder> m_responder;
};
