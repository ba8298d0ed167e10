// SPDX-License-Identifier: MIT
#include "responders/event/cmeventqueuehttprequest.h"

#include "core/dbglog.h"
#include "responders/event/eventresponder.h"
#include "responders/event/eventrespondershared.h"
#include "responders/legacypathhelper.h"

namespace {

PlixRowEvent rowEvent(PlixRowEventType::Enum type, int index) {
    PlixRowEvent event;
    event.setType(type);
    event.setIndex(index);
    return event;
}

// HTTP clients do not know moved rows. A move becomes a removal and an insertion.
PlixList<PlixRowEvent> withoutMoves(const PlixList<PlixRowEvent>& events) {
    PlixList<PlixRowEvent> result;
    for (int position = 0; position < events.size(); ++position) {
        const PlixRowEvent event = events.record(position);
        if (event.type() != PlixRowEventType::Moved) {
            result.append(event);
            continue;
        }
        result.append(rowEvent(PlixRowEventType::Removed, event.index()));
        result.append(rowEvent(PlixRowEventType::Inserted, event.toIndex()));
    }
    return result;
}

} // namespace

CMEventQueueHttpRequest::CMEventQueueHttpRequest(EventResponder* responder)
    : m_responder(responder) {}

void CMEventQueueHttpRequest::eventsReady(CMEventQueue* queue, const PlixList<PlixEvent>& events) {
    if (!m_responder)
        return;
    const bool isLegacy = m_responder->shared()->isLegacyQueue(queue->id().toString());
    PlixList<PlixEvent> converted;
    for (int position = 0; position < events.size(); ++position) {
        PlixEvent event = events.record(position);
        const CMPath path = event.path();
        if (isLegacy && LegacyPathHelper::wasLegacy(path)) {
            dbglog_debug("changing to legacy path: " << path);
            event.setPath(LegacyPathHelper::toLegacy(path));
        }
        // An event without row events does not get an empty list.
        if (event.__contains(QStringLiteral("rowsEvents")))
            event.setRowsEvents(withoutMoves(event.rowsEvents()));
        converted.append(event);
    }
    m_responder->queueRequestDone(converted);
}
