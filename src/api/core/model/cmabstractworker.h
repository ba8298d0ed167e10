// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmrequest.h"
#include "core/plixvalue.h"
#include "plixexport.h"

#include <QObject>

// The interface to the data model, of the root, which finds the worker that owns a path, and of
// every worker. All requests are asynchronous and end with the reply's finish() or fail(). A worker
// may finish the reply before the call returns.
class PLIX_EXPORT CMAbstractWorker : public QObject {
    Q_OBJECT

public:
    explicit CMAbstractWorker(QObject* parent = nullptr);
    ~CMAbstractWorker() override;

    void getData(const CMPath& path, const QStringList& roles,
                 const CMReply<QList<QVariant>>& reply);
    void getRows(const CMPath& path, int from, int to, int version, const QStringList& roles,
                 const CMReply<PlixRowsRoles>& reply);
    void setData(const CMPath& path, const QString& role, const QVariant& value,
                 const CMReply<QVariant>& reply);
    // The node's value at once. Invalid when there is no such node, or its worker cannot answer at
    // once.
    QVariant getValue(const CMPath& path);

    virtual void getDataRequest(const CMGetDataRequest& request) = 0;
    virtual void getRowsRequest(const CMGetRowsRequest& request) = 0;
    virtual void setDataRequest(const CMSetDataRequest& request) = 0;

    // Call `slot` of the receiver (a SLOT() text) whenever the node changes, until disconnected or
    // until the receiver is gone; the node need not exist yet. The slots' arguments, of which a
    // slot may leave out the last: for values (PlixValue value, CMPath path), for data, that is
    // any role, (QString role, CMPath path), for rows (QVariantList rowEvents, CMPath path).
    // False when the receiver has no such slot.
    virtual bool connectValueChange(const CMPath& path, QObject* receiver, const char* slot,
                                    Qt::ConnectionType type = Qt::AutoConnection) = 0;
    virtual bool disconnectValueChange(const CMPath& path, QObject* receiver, const char* slot) = 0;
    virtual bool connectDataChange(const CMPath& path, QObject* receiver, const char* slot,
                                   Qt::ConnectionType type = Qt::AutoConnection) = 0;
    virtual bool disconnectDataChange(const CMPath& path, QObject* receiver, const char* slot) = 0;
    virtual bool connectRowsChange(const CMPath& path, QObject* receiver, const char* slot,
                                   Qt::ConnectionType type = Qt::AutoConnection) = 0;
    virtual bool disconnectRowsChange(const CMPath& path, QObject* receiver, const char* slot) = 0;
};
