// SPDX-License-Identifier: MIT
#include "networkworker.h"

#include "core/dbglog.h"
#include "core/model/cmroles.h"
#include "core/plixconnect.h"
#include "core/plixjson.h"
#include "core/plixpaths.h"
#include "interfacewatcher.h"
#include "networkinfo.h"

#include <QSysInfo>

namespace {

const QString hostNamePath = QStringLiteral("network:hostname");

} // namespace

NetworkWorker::NetworkWorker(const QVariantHash& config)
    : CMNodesWorker(config, QStringLiteral("network")) {
    provideHostName();
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

void NetworkWorker::provideHostName() {
    if (hasNode(hostNamePath))
        return;
    PlixValue name;
    name.setString_(QSysInfo::machineHostName());
    setNode(hostNamePath, {{PlixRoles::Title(), QStringLiteral("Host name")},
                           {PlixRolesType::Value(), name.__variant()},
                           {PlixRoles::Modifiable(), false}});
}

void NetworkWorker::update() {
    const QString path = PlixNetworkInfoPath().toEncoded();
    const QVector<NetworkInfo::Interface> interfaces = NetworkInfo::interfaces();
    const QVariantHash info = NetworkInfo::record(interfaces);
    if (role(path, PlixRolesType::Value()).toHash() == info)
        return;
    dbglog_info("Network: " << PlixJson::serialize(info));
    // For pages without scripts.
    setRole(path, PlixRoles::Description(), NetworkInfo::text(interfaces));
    setRole(path, PlixRolesType::Value(), info);
}
