// SPDX-License-Identifier: MIT
#include "hostworker.h"

#include "core/dbglog.h"
#include "core/model/cmroles.h"

#include <QDateTime>
#include <QTimer>

namespace {

const QString restartPath = QStringLiteral("device:restart");

// The restart closes all connections, also that of the client whose answer is being sent.
constexpr int answerMs = 500;

} // namespace

HostWorker::HostWorker(const QVariantHash& config)
    : CMNodesWorker(config, QStringLiteral("device")) {
    PlixValue started;
    started.setI64_(QDateTime::currentMSecsSinceEpoch());
    setNode(restartPath, {{PlixRoles::Title(), QStringLiteral("Restart")},
                          {PlixRoles::Type(), QStringLiteral("action")},
                          {PlixRolesType::Value(), started.__variant()},
                          {PlixRoles::Modifiable(), false}});
    // Template pages can reach internal nodes too.
    if (!role(restartPath, PlixRoles::Internal()).toBool())
        setRole(restartPath, PlixRoles::Activate(), true);
}

void HostWorker::setDataRequest(const CMSetDataRequest& request) {
    if (request.path.toEncoded() != restartPath || request.role != PlixRoles::Activate() ||
        !role(restartPath, PlixRoles::Activate()).isValid())
        return CMNodesWorker::setDataRequest(request);
    dbglog_info("A client restarts the device");
    request.reply.finish(role(restartPath, PlixRolesType::Value()));
    QTimer::singleShot(answerMs, this, &HostWorker::restartRequested);
}
