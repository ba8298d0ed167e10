// SPDX-License-Identifier: MIT
#include "mediachanges.h"

#include "core/model/cmchangenotifier.h"
#include "core/model/cmroles.h"
#include "core/model/cmrowhistory.h"
#include "core/plixhost.h"
#include "library/cataloguelists.h"

#include <optional>

namespace {

// Looked up each time, because a receiver of a change may delete the host.
CMChangeNotifier* notifier() {
    CMWorkerRegistry* const registry = plixWorkerRegistry();
    return registry ? registry->changeNotifier() : nullptr;
}

void announceNode(const CMPath& path, const QVariantHash& before, const QVariantHash& after) {
    if (before == after)
        return;
    QVariantHash changed = before;
    for (auto role = after.cbegin(); role != after.cend(); ++role)
        changed.insert(role.key(), *role);
    for (auto role = changed.cbegin(); role != changed.cend(); ++role) {
        const QVariant value = after.value(role.key());
        if (before.value(role.key()) == value)
            continue;
        if (role.key() == PlixRolesType::Value() && notifier())
            notifier()->valueChanged(path, PlixValue(value.toHash()));
        if (notifier())
            notifier()->dataChanged(path, role.key());
    }
}

PlixRowEvent rowEvent(PlixRowEventType::Enum type, int index) {
    PlixRowEvent event;
    event.setType(type);
    event.setIndex(index);
    return event;
}

// What turns the tracks of one catalogue, in their order, into those of the other. Null when the
// list is to be read again: because of more events than clients get, or of other covers.
std::optional<PlixList<PlixRowEvent>> difference(const MediaCatalogue& before,
                                                 const MediaCatalogue& after) {
    PlixList<PlixRowEvent> events;
    int from = 0;
    int to = 0;
    while (from < before.size() || to < after.size()) {
        const bool hasBoth = from < before.size() && to < after.size();
        if (hasBoth && &before.track(from) == &after.track(to)) {
            ++from;
            ++to;
        } else if (hasBoth ? MediaCatalogue::isBefore(before.track(from), after.track(to))
                           : from < before.size()) {
            events.append(rowEvent(PlixRowEventType::Removed, to));
            ++from;
        } else if (hasBoth ? MediaCatalogue::isBefore(after.track(to), before.track(from))
                           : to < after.size()) {
            events.append(rowEvent(PlixRowEventType::Inserted, to++));
        } else {
            events.append(rowEvent(PlixRowEventType::Changed, to++));
            ++from;
        }
        if (events.size() > int(CMRowHistory::maximumEvents))
            return std::nullopt;
    }
    return before.hasPicturesOf(after) ? std::optional(events) : std::nullopt;
}

void announceRows(const CMPath& path, const MediaCatalogue& before, const MediaCatalogue& after) {
    if (path.toEncoded() != CatalogueLists::root())
        return notifier()->rowsChanged(path, {});
    const auto events = difference(before, after);
    if (!events || !events->isEmpty())
        notifier()->rowsChanged(path, events.value_or(PlixList<PlixRowEvent>()));
}

} // namespace

void announceChanges(const MediaCatalogue& before, const MediaCatalogue& after) {
    if (!notifier())
        return;
    const QVector<CMPath> watched = notifier()->watchedPaths(QStringLiteral("media"));
    for (const CMPath& path : watched) {
        const QString& name = path.toEncoded();
        announceNode(path, CatalogueLists::node(before, name), CatalogueLists::node(after, name));
        const bool isList = CatalogueLists::find(before, name) || CatalogueLists::find(after, name);
        if (isList && notifier())
            announceRows(path, before, after);
    }
}
