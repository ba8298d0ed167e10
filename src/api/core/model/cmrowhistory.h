// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmevents.h"

#include <vector>

// The row events of one list in order, without events that a receiver does not need because it
// reads the rows afterwards: a second change of a row, an insertion that is followed by the
// removal.
class CMRowHistory {
public:
    // Limits the memory of a queue between two polls. With more events it is cheaper to read the
    // list again than to apply them. An event takes 12 bytes in each queue.
    static constexpr std::size_t maximumEvents = 64;

    bool isEmpty() const { return m_events.empty() && !m_isLost; }
    // There were too many events; the receiver has to read the list again.
    bool isLost() const { return m_isLost; }
    PlixList<PlixRowEvent> events() const;

    void append(const QVariantList& events);
    void append(const CMRowHistory& later);

private:
    struct Event {
        PlixRowEventType::Enum type;
        int index;
        int toIndex;
    };

    void append(const Event& event);
    void appendChanged(int index);
    void appendRemoved(int index);
    void dropInserted(std::size_t position);
    void lose();

    static int rowBefore(const Event& event, int row);

    std::vector<Event> m_events;
    bool m_isLost = false;
};
