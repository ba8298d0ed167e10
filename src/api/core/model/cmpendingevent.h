// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmrowhistory.h"

#include <QVariant>

// The changes of one node that have not been delivered: the latest value, and the row events in
// order.
class CMPendingEvent {
public:
    // setValue() must be called before the event is delivered.
    static CMPendingEvent ofValue();
    static CMPendingEvent fromRowEvents(const QVariantList& events);

    bool isEmpty() const { return !m_valueChanged && m_rows.isEmpty(); }
    bool isValueChanged() const { return m_valueChanged; }
    void setValue(const QVariant& value) { m_value = value; }
    // Adds a later event.
    void merge(const CMPendingEvent& later);
    PlixEvent toEvent(const CMPath& path) const;

private:
    // May be null, when the node has no value any more.
    QVariant m_value;
    bool m_valueChanged = false;
    CMRowHistory m_rows;
};
