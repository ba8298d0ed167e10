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

    static CMPendingEvent fromValue(const QVariant& value);
    static CMPendingEvent fromRowEvents(const QVariantList& events);

    bool isEmpty() const { return !m_value.isValid() && !m_rowsChanged; }
    // Adds what happened after this event.
    void merge(const CMPendingEvent& later);
    PlixEvent toEvent(const CMPath& path) const;

private:
    QVariant m_value;
    // Empty although rows changed: the history was given up.
    QVariantList m_rowEvents;
    bool m_rowsChanged = false;
};
