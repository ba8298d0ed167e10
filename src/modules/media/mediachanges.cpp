#include "mediachanges.h"

#include "core/model/cmchangenotifier.h"
#include "core/model/cmroles.h"
#include "core/plixhost.h"
#include "library/cataloguelists.h"
#include "library/catalogueroles.h"
#include "library/filenames.h"

namespace {

// Looked up each time, because a receiver of a change may delete the host.
CMChangeNotifier* notifier() {
    CMWorkerRegistry* const registry = plixWorkerRegistry();
    return registry ? registry->changeNotifier() : nullptr;
}

void announceTrack(const LibraryTrack& track, bool isThere) {
    const QString name = CatalogueRoles::path(FileNames::toText(track.path));
    const CMPath path = CMPath::fromEncoded(name);
    PlixValue value;
    if (isThere)
        value.setString_(name);
    if (notifier())
        notifier()->valueChanged(path, value);
    for (const QString& role : {PlixRoles::Title(), PlixRoles::Description(), PlixRoles::Icon(),
                                PlixRoles::Maximum(), PlixRolesType::Value()}) {
        if (notifier())
            notifier()->dataChanged(path, role);
    }
}

void announceList(const QString& path) {
    if (notifier())
        notifier()->rowsChanged(CMPath::fromEncoded(path), {});
}

} // namespace

void announceChanges(const MediaCatalogue& before, const MediaCatalogue& after) {
    announceList(CatalogueLists::root());
    for (const auto& list : CatalogueLists::titles())
        announceList(CatalogueRoles::path(list.first));
    for (int index = 0; index < after.size(); ++index) {
        if (!before.contains(after.track(index)))
            announceTrack(after.track(index), true);
    }
    for (int index = 0; index < before.size(); ++index) {
        if (!after.hasPath(before.track(index).path))
            announceTrack(before.track(index), false);
    }
}
