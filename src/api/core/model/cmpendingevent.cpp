#include "core/model/cmpendingevent.h"

CMPendingEvent CMPendingEvent::ofValue() {
    CMPendingEvent event;
    event.m_valueChanged = true;
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
    if (later.m_valueChanged) {
        m_value = later.m_value;
        m_valueChanged = true;
    }
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
    if (m_valueChanged)
        event.setValue(m_value);
    if (m_rowsChanged)
        event.setRowsEvents(PlixList<PlixRowEvent>(m_rowEvents));
    return event;
}
