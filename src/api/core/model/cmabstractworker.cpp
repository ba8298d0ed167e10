#include "core/model/cmabstractworker.h"

#include "core/model/cmroles.h"

CMAbstractWorker::CMAbstractWorker(QObject* parent) : QObject(parent) {}

CMAbstractWorker::~CMAbstractWorker() = default;

void CMAbstractWorker::getData(const CMPath& path, const QStringList& roles,
                               const CMReply<QList<QVariant>>& reply) {
    getDataRequest({path, roles, reply});
}

void CMAbstractWorker::getRows(const CMPath& path, int from, int to, int version,
                               const QStringList& roles, const CMReply<PlixRowsRoles>& reply) {
    getRowsRequest({path, from, to, version, roles, reply});
}

void CMAbstractWorker::setData(const CMPath& path, const QString& role, const QVariant& value,
                               const CMReply<QVariant>& reply) {
    setDataRequest({path, role, value, reply});
}

QVariant CMAbstractWorker::getValue(const CMPath& path) {
    const CMReply<QList<QVariant>> reply;
    getData(path, {PlixRolesType::Value()}, reply);
    if (!reply.isFinished() || reply.error())
        return {};
    return reply.value().value(0);
}
