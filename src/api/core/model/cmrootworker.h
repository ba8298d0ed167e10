// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmabstractworker.h"
#include "core/plixhost.h"
#include "plixexport.h"

#include <QHash>
#include <QPointer>

#include <memory>

class CMChangeNotifier;

// The root of a device whose workers are in one process. It passes each request to the worker whose
// name the path begins with, and holds the change subscriptions. Installs itself as CMRoot() for
// its lifetime. Does not own the workers.
class PLIX_EXPORT CMRootWorker : public CMAbstractWorker, public CMWorkerRegistry {
    Q_OBJECT

public:
    explicit CMRootWorker(QObject* parent = nullptr);
    ~CMRootWorker() override;

    void addWorker(const QString& name, CMAbstractWorker* worker) override;
    void removeWorker(const QString& name, CMAbstractWorker* worker) override;
    CMChangeNotifier* changeNotifier() override;
    // Null when there is none.
    CMAbstractWorker* worker(const QString& name) const { return m_workers.value(name).data(); }

    void getDataRequest(const CMGetDataRequest& request) override;
    void getRowsRequest(const CMGetRowsRequest& request) override;
    void setDataRequest(const CMSetDataRequest& request) override;

    bool connectValueChange(const CMPath& path, QObject* receiver, const char* slot,
                            Qt::ConnectionType type = Qt::AutoConnection) override;
    bool disconnectValueChange(const CMPath& path, QObject* receiver, const char* slot) override;
    bool connectDataChange(const CMPath& path, QObject* receiver, const char* slot,
                           Qt::ConnectionType type = Qt::AutoConnection) override;
    bool disconnectDataChange(const CMPath& path, QObject* receiver, const char* slot) override;
    bool connectRowsChange(const CMPath& path, QObject* receiver, const char* slot,
                           Qt::ConnectionType type = Qt::AutoConnection) override;
    bool disconnectRowsChange(const CMPath& path, QObject* receiver, const char* slot) override;

private:
    // The worker that owns the path; fails the reply when there is none.
    CMAbstractWorker* route(const CMPath& path, const CMVoidReply& reply) const;

    QHash<QString, QPointer<CMAbstractWorker>> m_workers;
    std::unique_ptr<CMChangeNotifier> m_changes;
};
