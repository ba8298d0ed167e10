// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmpath.h"
#include "core/plixhash.h"

namespace PlixRowEventType {
enum Enum { Inserted = 1, Removed = 2, Changed = 3, Moved = 4 };
}

// One change of a list, after which the other rows shift. A moved row is removed at `index` and is
// at `toIndex` afterwards.
class PlixRowEvent : public PlixHash {
public:
    using PlixHash::PlixHash;

    PlixRowEventType::Enum type() const {
        return static_cast<PlixRowEventType::Enum>(member(QStringLiteral("type")).toInt());
    }
    void setType(PlixRowEventType::Enum type) { setMember(QStringLiteral("type"), int(type)); }
    int index() const { return member(QStringLiteral("index")).toInt(); }
    void setIndex(int index) { setMember(QStringLiteral("index"), index); }
    int toIndex() const { return member(QStringLiteral("toIndex")).toInt(); }
    void setToIndex(int index) { setMember(QStringLiteral("toIndex"), index); }
};

// A change notification of one node: its new value if that changed, its row events if rows changed.
// `rowsReset` replaces the row events when there were too many: the receiver has to read the list
// again.
class PlixEvent : public PlixHash {
public:
    using PlixHash::PlixHash;

    CMPath path() const { return CMPath::fromEncoded(member(QStringLiteral("path")).toString()); }
    void setPath(const CMPath& path) { setMember(QStringLiteral("path"), path.toEncoded()); }
    QVariant value() const { return member(QStringLiteral("value")); }
    void setValue(const QVariant& value) { setMember(QStringLiteral("value"), value); }
    PlixList<PlixRowEvent> rowsEvents() const {
        return PlixList<PlixRowEvent>(member(QStringLiteral("rowsEvents")).toList());
    }
    void setRowsEvents(const PlixList<PlixRowEvent>& events) {
        setMember(QStringLiteral("rowsEvents"), static_cast<const QVariantList&>(events));
    }
    void setRowsReset() { setMember(QStringLiteral("rowsReset"), true); }
};

// A path to subscribe to or to unsubscribe from.
class PlixEventSubscribe : public PlixHash {
public:
    using PlixHash::PlixHash;

    CMPath path() const { return CMPath::fromEncoded(member(QStringLiteral("path")).toString()); }
    void setPath(const CMPath& path) { setMember(QStringLiteral("path"), path.toEncoded()); }
};
