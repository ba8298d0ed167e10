// SPDX-License-Identifier: MIT
#include "core/model/cmrootworker.h"

#include "core/model/cmchangenotifier.h"
#include "core/model/cmroot.h"

CMRootWorker::CMRootWorker(QObject* parent)
    : CMAbstractWorker(parent), m_changes(std::make_unique<CMChangeNotifier>()) {
    qRegisterMetaType<CMVoidReply>();
    plixInstallRoot(this, this);
}

CMRootWorker::~CMRootWorker() {
    if (CMRoot() == this)
        plixInstallRoot(nullptr, nullptr);
}

void CMRootWorker::addWorker(const QString& name, CMAbstractWorker* worker) {
    m_workers.insert(name, worker);
}

void CMRootWorker::removeWorker(const QString& name, CMAbstractWorker* worker) {
    if (m_workers.value(name) == worker)
        m_workers.remove(name);
}

CMChangeNotifier* CMRootWorker::changeNotifier() {
    return m_changes.get();
}

CMAbstractWorker* CMRootWorker::route(const CMPath& path, const CMVoidReply& reply) const {
    const QString name = path.worker();
    CMAbstractWorker* const target = name.isEmpty() ? nullptr : worker(name);
    if (!target) {
        reply.fail(CMError::fromName(CMErrorNames::workerNotFound(),
                                     QStringLiteral("There is no worker \"%1\"").arg(name)));
    }
    return target;
}

void CMRootWorker::getDataRequest(const CMGetDataRequest& request) {
    if (CMAbstractWorker* target = route(request.path, request.reply))
        target->getDataRequest(request);
}

void CMRootWorker::getRowsRequest(const CMGetRowsRequest& request) {
    if (CMAbstractWorker* target = route(request.path, request.reply))
        target->getRowsRequest(request);
}

void CMRootWorker::setDataRequest(const CMSetDataRequest& request) {
    if (CMAbstractWorker* target = route(request.path, request.reply))
        target->setDataRequest(request);
}

bool CMRootWorker::connectValueChange(const CMPath& path, QObject* receiver, const char* slot,
                                      Qt::ConnectionType type) {
    return m_changes->connect(path, SIGNAL(valueChanged(PlixValue, CMPath)), receiver, slot, type);
}

bool CMRootWorker::disconnectValueChange(const CMPath& path, QObject* receiver, const char* slot) {
    return m_changes->disconnect(path, SIGNAL(valueChanged(PlixValue, CMPath)), receiver, slot);
}

bool CMRootWorker::connectDataChange(const CMPath& path, QObject* receiver, const char* slot,
                                     Qt::ConnectionType type) {
    return m_changes->connect(path, SIGNAL(dataChanged(QString, CMPath)), receiver, slot, type);
}

bool CMRootWorker::disconnectDataChange(const CMPath& path, QObject* receiver, const char* slot) {
    return m_changes->disconnect(path, SIGNAL(dataChanged(QString, CMPath)), receiver, slot);
}

bool CMRootWorker::connectRowsChange(const CMPath& path, QObject* receiver, const char* slot,
                                     Qt::ConnectionType type) {
    return m_changes->connect(path, SIGNAL(rowsChanged(QVariantList, CMPath)), receiver, slot,
                              type);
}

bool CMRootWorker::disconnectRowsChange(const CMPath& path, QObject* receiver, const char* slot) {
    return m_changes->disconnect(path, SIGNAL(rowsChanged(QVariantList, CMPath)), receiver, slot);
}
