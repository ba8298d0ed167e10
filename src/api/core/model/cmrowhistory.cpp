// SPDX-License-Identifier: MIT
#include "core/model/cmrowhistory.h"

namespace {

// The position of a row, or of an insertion, in the list without the row at `missing`.
int without(int missing, int row) {
    return row > missing ? row - 1 : row;
}

// The reverse: the position in the list with one more row, at `added`.
int with(int added, int row) {
    return row >= added ? row + 1 : row;
}

} // namespace

PlixList<PlixRowEvent> CMRowHistory::events() const {
    PlixList<PlixRowEvent> events;
    for (const Event& event : m_events) {
        PlixRowEvent record;
        record.setType(event.type);
        record.setIndex(event.index);
        if (event.type == PlixRowEventType::Moved)
            record.setToIndex(event.toIndex);
        events.append(record);
    }
    return events;
}

void CMRowHistory::append(const QVariantList& events) {
    // The worker does not report which rows changed.
    if (events.isEmpty())
        lose();
    for (const QVariant& record : events) {
        if (m_isLost)
            return;
        const PlixRowEvent event(record.toHash());
        append(Event{event.type(), event.index(), event.toIndex()});
    }
}

void CMRowHistory::append(const CMRowHistory& later) {
    if (later.m_isLost)
        lose();
    for (const Event& event : later.m_events)
        append(event);
}

void CMRowHistory::append(const Event& event) {
    if (m_isLost)
        return;
    if (event.type == PlixRowEventType::Changed)
        appendChanged(event.index);
    else if (event.type == PlixRowEventType::Removed)
        appendRemoved(event.index);
    else
        m_events.push_back(event);
    if (m_events.size() > maximumEvents)
        lose();
}

// The position of the row before the event; -1 when the event inserted it.
int CMRowHistory::rowBefore(const Event& event, int row) {
    switch (event.type) {
    case PlixRowEventType::Inserted:
        return event.index == row ? -1 : without(event.index, row);
    case PlixRowEventType::Removed:
        return with(event.index, row);
    case PlixRowEventType::Moved:
        return event.toIndex == row ? event.index : with(event.index, without(event.toIndex, row));
    case PlixRowEventType::Changed:
        break;
    }
    return row;
}

void CMRowHistory::appendChanged(int index) {
    int row = index;
    for (auto event = m_events.rbegin(); event != m_events.rend() && row >= 0; ++event) {
        if (event->type == PlixRowEventType::Changed && event->index == row)
            return;
        row = rowBefore(*event, row);
    }
    // A change of an inserted row is dropped: the receiver reads the row because of the insertion.
    if (row >= 0)
        m_events.push_back({PlixRowEventType::Changed, index, 0});
}

void CMRowHistory::appendRemoved(int index) {
    int row = index;
    for (std::size_t position = m_events.size(); position-- > 0;) {
        const Event event = m_events[position];
        if (event.type == PlixRowEventType::Changed && event.index == row)
            m_events.erase(m_events.begin() + std::ptrdiff_t(position));
        row = rowBefore(event, row);
        if (row < 0)
            return dropInserted(position);
    }
    m_events.push_back({PlixRowEventType::Removed, index, 0});
}

// Removes the insertion at `position`, and its row from the later events.
void CMRowHistory::dropInserted(std::size_t position) {
    int row = m_events[position].index;
    std::vector<Event> remaining(m_events.begin(), m_events.begin() + std::ptrdiff_t(position));
    for (++position; position < m_events.size(); ++position) {
        Event event = m_events[position];
        const bool isOfRow = event.type == PlixRowEventType::Moved && event.index == row;
        if (isOfRow) {
            row = event.toIndex;
            continue;
        }
        const int before = row;
        if (event.type == PlixRowEventType::Inserted)
            row = with(event.index, row);
        if (event.type == PlixRowEventType::Removed)
            row = without(event.index, row);
        if (event.type == PlixRowEventType::Moved) {
            row = with(event.toIndex, without(event.index, row));
            event.toIndex = without(row, event.toIndex);
        }
        event.index = without(before, event.index);
        const bool isStill = event.type == PlixRowEventType::Moved && event.index == event.toIndex;
        if (!isStill)
            remaining.push_back(event);
    }
    m_events = std::move(remaining);
}

void CMRowHistory::lose() {
    m_isLost = true;
    m_events = {};
}
