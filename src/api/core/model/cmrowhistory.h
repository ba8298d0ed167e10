#pragma once

#include "core/model/cmevents.h"

#include <vector>

// The row events of one list in their order, without those that a receiver who reads the rows
// afterwards does not need: a row that is changed again, or that is inserted and removed again.
class CMRowHistory {
public:
    // Bounds what a list that changes fast makes a queue remember until the next poll. Beyond it
    // reading the list again is cheaper for everyone than replaying its history. An event takes
    // 12 bytes in each queue.
    static constexpr std::size_t maximumEvents = 64;

    bool isEmpty() const { return m_events.empty() && !m_isLost; }
    // There were too many: the rows have to be read again.
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
