// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmabstractworker.h"
#include "core/model/cmevents.h"
#include "core/model/cmrowsanswers.h"
#include "plixexport.h"

#include <QHash>
#include <QVariantHash>
#include <QVector>

// A worker with its nodes in memory. The constructor adds it to the host's registry under its name,
// the destructor removes it. The root holds the change subscriptions, so that these may exist
// before the worker and outlive it.
//
// The member "nodes" of the configuration contains the initial nodes: it maps encoded paths to
// objects of role names and values, with the rows of the node's list as the member "rows". Nodes of
// other workers are ignored.
class PLIX_EXPORT CMNodesWorker : public CMAbstractWorker {
    Q_OBJECT

public:
    // The limit on a value that a client writes: far more than any text or list of settings.
    static constexpr int maximumValueBytes = 65536;

    CMNodesWorker(const QVariantHash& config, const QString& name);
    ~CMNodesWorker() override;

    QString name() const { return m_name; }

    void getDataRequest(const CMGetDataRequest& request) override;
    void getRowsRequest(const CMGetRowsRequest& request) override;
    // Stores the value after checks of the size and of what the node's roles require (modifiable,
    // minimum, maximum, type of the stored value). The roles that these checks use, and roles that
    // neither the node nor the platform knows, cannot be written. Workers override it for nodes
    // with actions.
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

    // For the worker itself: without checks. Actual changes are announced. Paths are encoded and
    // include the worker's name. Setting a role or rows of a missing node creates the node.
    bool hasNode(const QString& path) const { return m_nodes.contains(path); }
    // Creates the node, or sets these roles of an existing one.
    void setNode(const QString& path, const QVariantHash& roles);
    // Announced as a change of the value to an empty one and of every role, and as the removal of
    // the rows.
    void removeNode(const QString& path);
    QVariant role(const QString& path, const QString& role) const;
    void setRole(const QString& path, const QString& role, const QVariant& value);
    void setValue(const QString& path, const PlixValue& value);

    // The node's list. Positions outside the list are programming errors (asserted). Every change
    // increases the version of the list; the version does not restart when the node is removed.
    int rowCount(const QString& path) const;
    QVariantHash row(const QString& path, int index) const;
    qint64 rowsVersion(const QString& path) const;
    void setRows(const QString& path, const QVector<QVariantHash>& rows);
    void insertRow(const QString& path, int index, const QVariantHash& row);
    void removeRow(const QString& path, int index);
    void changeRow(const QString& path, int index, const QVariantHash& row);
    // The row is at `toIndex` afterwards.
    void moveRow(const QString& path, int index, int toIndex);

protected:
    // Called after a client's write has been stored, before the change is announced.
    virtual void stored(const QString& path, const QString& role, const QVariant& value);

private:
    struct Node {
        QVariantHash roles;
        QVector<QVariantHash> rows;
        qint64 version = 0;
    };

    void addConfigured(const QString& path, const QVariantHash& members);
    Node& node(const QString& path);
    CMError checkWrite(const Node& node, const CMSetDataRequest& request, QVariant* value) const;
    bool store(const QString& path, const QString& role, const QVariant& value);

    QString m_name;
    QHash<QString, Node> m_nodes;
    // The first version of the lists of new nodes, not less than that of any removed node.
    qint64 m_firstVersion = 0;
    CMRowsAnswers m_rowsAnswers;
};
