// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmeventqueue.h"

#include <QPointer>

class EventResponder;

// The pending poll of an event responder. It converts the events to the form that HTTP clients know
// and passes them to the responder. Owned by the queue.
class CMEventQueueHttpRequest : public CMEventQueueRequest {
public:
    explicit CMEventQueueHttpRequest(EventResponder* responder);

    void eventsReady(CMEventQueue* queue, const PlixList<PlixEvent>& events) override;

private:
    QPointer<EventResponder> m_responder;
};
