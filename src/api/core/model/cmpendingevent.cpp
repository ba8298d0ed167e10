#include "core/model/cmpendingevent.h"

CMPendingEvent CMPendingEvent::fromValue(const QVariant& value) {
    CMPendingEvent event;
    event.m_value = value;
    return event;
}

CMPendingEvent CMPendingEvent::fromRowEvents(const QVariantList& events) {
    CMPendingEvent event;
    event.m_rowsChanged = true;
    if (events.size() <= maximumRowEvents)
        event.m_rowEvents = events;
    return event;
}

void CMPendingEvent::merge(const CMPendingEvent& later) {
    if (later.m_value.isValid())
        m_value = later.m_value;
    if (!later.m_rowsChanged)
        return;
    const bool gaveUp = (m_rowsChanged && m_rowEvents.isEmpty()) || later.m_rowEvents.isEmpty();
    if (gaveUp || m_rowEvents.size() + later.m_rowEvents.size() > maximumRowEvents)
        m_rowEvents.clear();
    else
        m_rowEvents += later.m_rowEvents;
    m_rowsChanged = true;
}

PlixEvent CMPendingEvent::toEvent(const CMPath& path) const {
    PlixEvent event;
    event.setPath(path);
    if (m_value.isValid())
        event.setValue(m_value);
    if (m_rowsChanged)
        event.setRowsEvents(PlixList<PlixRowEvent>(m_rowEvents));
    return event;
}
