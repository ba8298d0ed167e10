#pragma once

#include "core/model/cmrowhistory.h"

#include <QVariant>

// What changed at one node since it was last told: the newest value, and the row events in order.
class CMPendingEvent {
public:
    // The value is to be set before the event is told.
    static CMPendingEvent ofValue();
    static CMPendingEvent fromRowEvents(const QVariantList& events);

    bool isEmpty() const { return !m_valueChanged && m_rows.isEmpty(); }
    bool isValueChanged() const { return m_valueChanged; }
    void setValue(const QVariant& value) { m_value = value; }
    // Adds what happened after this event.
    void merge(const CMPendingEvent& later);
    PlixEvent toEvent(const CMPath& path) const;

private:
    // Which may be null: that a value is gone is told, too.
    QVariant m_value;
    bool m_valueChanged = false;
    CMRowHistory m_rows;
};
