#include "networkworker.h"

#include "core/dbglog.h"
#include "core/model/cmroles.h"
#include "core/plixconnect.h"
#include "core/plixjson.h"
#include "core/plixpaths.h"
#include "interfacewatcher.h"
#include "networkinfo.h"

NetworkWorker::NetworkWorker(const QVariantHash& config)
    : CMNodesWorker(config, QStringLiteral("network")) {
    const QString path = PlixNetworkInfoPath().toEncoded();
    if (role(path, PlixRolesType::Value()).isValid()) {
        // Clients must not write the addresses, because the device certificate is made for them.
        if (!role(path, PlixRoles::Modifiable()).isValid())
            setRole(path, PlixRoles::Modifiable(), false);
        return;
    }
    setNode(path,
            {{PlixRoles::Title(), QStringLiteral("Network")}, {PlixRoles::Modifiable(), false}});
    update();
    auto* watcher = new InterfaceWatcher(this);
    plixConnect(watcher, &InterfaceWatcher::changed, this, &NetworkWorker::update);
}

void NetworkWorker::update() {
    const QString path = PlixNetworkInfoPath().toEncoded();
    const QVariantHash info = NetworkInfo::record(NetworkInfo::interfaces());
    if (role(path, PlixRolesType::Value()).toHash() == info)
        return;
    dbglog_info("Network: " << PlixJson::serialize(info));
    setRole(path, PlixRolesType::Value(), info);
}
