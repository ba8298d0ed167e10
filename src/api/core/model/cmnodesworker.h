#pragma once

#include "core/model/cmabstractworker.h"
#include "core/model/cmevents.h"
#include "core/model/cmrowsanswers.h"

#include <QHash>
#include <QVariantHash>
#include <QVector>

// A worker that keeps its nodes in memory. It enters itself into the host's registry under its
// name and leaves it at its end. Change subscriptions go through the root, so that they outlive
// the worker and may come before it.
//
// The configuration's member "nodes" (encoded path to an object of role name to value, with the
// node's list as the member "rows") gives the nodes that the worker starts with; those of other
// workers are skipped.
class CMNodesWorker : public CMAbstractWorker {
    Q_OBJECT

public:
    // What a client may write to one role: far more than any text or list of settings takes.
    static constexpr int maximumValueBytes = 65536;

    CMNodesWorker(const QVariantHash& config, const QString& name);
    ~CMNodesWorker() override;

    QString name() const { return m_name; }

    void getDataRequest(const CMGetDataRequest& request) override;
    void getRowsRequest(const CMGetRowsRequest& request) override;
    // Plain storage, with the checks that the node's roles ask for (modifiable, minimum, maximum,
    // type of the stored value), and of the size. The roles that these checks rest on, and roles
    // that neither the node nor the platform knows, cannot be written. Workers override it for
    // nodes that act.
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

    // For the worker itself: no checks; what really changes is announced. Paths are encoded ones
    // and include the worker's name. Setting anything of a missing node creates it.
    bool hasNode(const QString& path) const { return m_nodes.contains(path); }
    // Creates the node, or adds to and replaces roles of an existing one.
    void setNode(const QString& path, const QVariantHash& roles);
    // Announced as a change to an empty value and of every role, and as the removal of its rows.
    void removeNode(const QString& path);
    QVariant role(const QString& path, const QString& role) const;
    void setRole(const QString& path, const QString& role, const QVariant& value);
    void setValue(const QString& path, const PlixValue& value);

    // The node's list. Positions outside the list are programming errors (asserted). Every change
    // gives the list a greater version, also across the node's removal.
    int rowCount(const QString& path) const;
    QVariantHash row(const QString& path, int index) const;
    void setRows(const QString& path, const QVector<QVariantHash>& rows);
    void insertRow(const QString& path, int index, const QVariantHash& row);
    void removeRow(const QString& path, int index);
    void changeRow(const QString& path, int index, const QVariantHash& row);
    // The row stands at `toIndex` afterwards.
    void moveRow(const QString& path, int index, int toIndex);

protected:
    // The value of `role` was stored by a client's write; called before the change is announced.
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
    // The version that lists of new nodes start with: no list of a removed node had a greater one.
    qint64 m_firstVersion = 0;
    CMRowsAnswers m_rowsAnswers;
};
