#pragma once

#include "core/model/cmevents.h"

#include <QVariant>

// What changed at one node since it was last told: the newest value, and the row events in order.
class CMPendingEvent {
public:
    // Bounds what a list that changes fast makes a queue remember until the next poll. Beyond it
    // reading the list again is cheaper for everyone than replaying its history. An event takes
    // some 50 bytes in each queue.
    static constexpr int maximumRowEvents = 64;

    // The value is to be set before the event is told.
    static CMPendingEvent ofValue();
    static CMPendingEvent fromRowEvents(const QVariantList& events);

    bool isEmpty() const { return !m_valueChanged && !m_rowsChanged; }
    bool isValueChanged() const { return m_valueChanged; }
    void setValue(const QVariant& value) { m_value = value; }
    // Adds what happened after this event.
    void merge(const CMPendingEvent& later);
    PlixEvent toEvent(const CMPath& path) const;

private:
    // Which may be null: that a value is gone is told, too.
    QVariant m_value;
    bool m_valueChanged = false;
    // Empty although rows changed: the history was given up.
    QVariantList m_rowEvents;
    bool m_rowsChanged = false;
};
