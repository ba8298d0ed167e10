#pragma once

#include "core/model/cmevents.h"
#include "core/plixvalue.h"

#include <QHash>
#include <QObject>
#include <QSharedPointer>

// The subscriptions of one path: its signals are what receivers are connected to, so that Qt ends
// a subscription with its receiver.
class CMPathChanges : public QObject {
    Q_OBJECT

Q_SIGNALS:
    void valueChanged(const PlixValue& value, const CMPath& path);
    void dataChanged(const QString& role, const CMPath& path);
    void rowsChanged(const QVariantList& rowEvents, const CMPath& path);

public:
    bool isWatched() const;
};

// The index from path to change subscriptions: what a change costs depends on the receivers that
// watch its path only.
class CMChangeNotifier {
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

    // The paths in the index, watched or not yet swept out.
    int size() const { return m_paths.size(); }

private:
    void dropUnwatched();

    QHash<CMPath, QSharedPointer<CMPathChanges>> m_paths;
    // The size of the index at which entries without receivers are looked for next.
    int m_sweepAt;
};
