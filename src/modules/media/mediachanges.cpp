// SPDX-License-Identifier: MIT
#include "mediachanges.h"

#include "core/model/cmchangenotifier.h"
#include "core/model/cmroles.h"
#include "core/plixhost.h"
#include "library/cataloguelists.h"

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
            notifier()->rowsChanged(path, {});
    }
}
