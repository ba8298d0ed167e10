// SPDX-License-Identifier: MIT
#include "core/model/cmpendingevent.h"

CMPendingEvent CMPendingEvent::ofValue() {
    CMPendingEvent event;
    event.m_valueChanged = true;
    return event;
}

CMPendingEvent CMPendingEvent::fromRowEvents(const QVariantList& events) {
    CMPendingEvent event;
    event.m_rows.append(events);
    return event;
}

void CMPendingEvent::merge(const CMPendingEvent& later) {
    if (later.m_valueChanged) {
        m_value = later.m_value;
        m_valueChanged = true;
    }
    m_rows.append(later.m_rows);
}

PlixEvent CMPendingEvent::toEvent(const CMPath& path) const {
    PlixEvent event;
    event.setPath(path);
    if (m_valueChanged)
        event.setValue(m_value);
    if (m_rows.isLost())
        event.setRowsReset();
    else if (!m_rows.isEmpty())
        event.setRowsEvents(m_rows.events());
    return event;
}
