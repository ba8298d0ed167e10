// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmevents.h"
#include "core/plixvalue.h"
#include "plixexport.h"

#include <QHash>
#include <QObject>
#include <QSharedPointer>
#include <QVector>

// The subscriptions of one path. Receivers are connected to its signals, so that Qt removes a
// subscription when its receiver is deleted.
class PLIX_EXPORT CMPathChanges : public QObject {
    Q_OBJECT

Q_SIGNALS:
    void valueChanged(const PlixValue& value, const CMPath& path);
    void dataChanged(const QString& role, const CMPath& path);
    void rowsChanged(const QVariantList& rowEvents, const CMPath& path);

public:
    bool isWatched() const;
};

// The index of change subscriptions by path. The cost of a change depends only on the number of
// receivers for its path.
class PLIX_EXPORT CMChangeNotifier {
public:
    CMChangeNotifier();
    ~CMChangeNotifier();

    // `signal` is the SIGNAL() text of one of the signals of CMPathChanges. False when the
    // receiver has no such slot.
    bool connect(const CMPath& path, const char* signal, QObject* receiver, const char* slot,
                 Qt::ConnectionType type);
    bool disconnect(const CMPath& path, const char* signal, QObject* receiver, const char* slot);

    // Announce a change. The receivers may subscribe, unsubscribe and delete themselves meanwhile.
    void valueChanged(const CMPath& path, const PlixValue& value);
    void dataChanged(const CMPath& path, const QString& role);
    void rowsChanged(const CMPath& path, const PlixList<PlixRowEvent>& events);

    // The watched paths of a worker, for one whose nodes are too many to look for changes in all of
    // them. Includes paths whose receivers were deleted a short time ago.
    QVector<CMPath> watchedPaths(const QString& worker) const;

    // The number of paths in the index, including those without receivers that are not yet removed.
    int size() const { return m_paths.size(); }

private:
    void dropUnwatched();

    QHash<CMPath, QSharedPointer<CMPathChanges>> m_paths;
    // The size of the index at which entries without receivers are removed next.
    int m_sweepAt;
};
