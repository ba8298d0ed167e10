// SPDX-License-Identifier: MIT
#include "core/model/cmabstractworker.h"

#include "core/model/cmroles.h"
#include "core/plixlooptask.h"

// Each function copies the path for its PlixLoopTask: a receiver of the reply may delete the
// caller's.

CMAbstractWorker::CMAbstractWorker(QObject* parent) : QObject(parent) {}

CMAbstractWorker::~CMAbstractWorker() = default;

void CMAbstractWorker::getData(const CMPath& path, const QStringList& roles,
                               const CMReply<QList<QVariant>>& reply) {
    const CMGetDataRequest request{path, roles, reply};
    const PlixLoopTask task("getData", [&request] { return request.path.toEncoded(); });
    getDataRequest(request);
}

void CMAbstractWorker::getRows(const CMPath& path, int from, int to, int version,
                               const QStringList& roles, const CMReply<PlixRowsRoles>& reply) {
    const CMGetRowsRequest request{path, from, to, version, roles, reply};
    const PlixLoopTask task("getRows", [&request] { return request.path.toEncoded(); });
    getRowsRequest(request);
}

void CMAbstractWorker::setData(const CMPath& path, const QString& role, const QVariant& value,
                               const CMReply<QVariant>& reply) {
    const CMSetDataRequest request{path, role, value, reply};
    const PlixLoopTask task("setData", [&request] { return request.path.toEncoded(); });
    setDataRequest(request);
}

QVariant CMAbstractWorker::getValue(const CMPath& path) {
    const CMReply<QList<QVariant>> reply;
    getData(path, {PlixRolesType::Value()}, reply);
    if (!reply.isFinished() || reply.error())
        return {};
    return reply.value().value(0);
}
