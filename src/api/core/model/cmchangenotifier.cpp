// SPDX-License-Identifier: MIT
#include "core/model/cmchangenotifier.h"

#include <QMetaMethod>

#include <algorithm>
#include <iterator>

namespace {

// More paths than a device without clients has, and few enough to be searched quickly.
constexpr int firstSweepAt = 64;

} // namespace

bool CMPathChanges::isWatched() const {
    return isSignalConnected(QMetaMethod::fromSignal(&CMPathChanges::valueChanged)) ||
           isSignalConnected(QMetaMethod::fromSignal(&CMPathChanges::dataChanged)) ||
           isSignalConnected(QMetaMethod::fromSignal(&CMPathChanges::rowsChanged));
}

CMChangeNotifier::CMChangeNotifier() : m_sweepAt(firstSweepAt) {
    // Queued connections with SIGNAL() and SLOT() look up the types by name.
    qRegisterMetaType<CMPath>();
    qRegisterMetaType<PlixValue>();
}

CMChangeNotifier::~CMChangeNotifier() = default;

bool CMChangeNotifier::connect(const CMPath& path, const char* signal, QObject* receiver,
                               const char* slot, Qt::ConnectionType type) {
    QSharedPointer<CMPathChanges> changes = m_paths.value(path);
    const bool isNew = !changes;
    if (isNew)
        changes = QSharedPointer<CMPathChanges>::create();
    if (!QObject::connect(changes.data(), signal, receiver, slot, type))
        return false;
    if (isNew) {
        dropUnwatched();
        m_paths.insert(path, changes);
    }
    return true;
}

bool CMChangeNotifier::disconnect(const CMPath& path, const char* signal, QObject* receiver,
                                  const char* slot) {
    const QSharedPointer<CMPathChanges> changes = m_paths.value(path);
    if (!changes || !QObject::disconnect(changes.data(), signal, receiver, slot))
        return false;
    if (!changes->isWatched())
        m_paths.remove(path);
    return true;
}

QVector<CMPath> CMChangeNotifier::watchedPaths(const QString& worker) const {
    QVector<CMPath> watched;
    for (auto entry = m_paths.keyBegin(); entry != m_paths.keyEnd(); ++entry) {
        if (entry->worker() == worker)
            watched.append(*entry);
    }
    return watched;
}

// Deleted receivers leave entries without connections behind. They are removed when the index has
// doubled, so that it has at most twice the necessary size, at an amortised constant cost.
void CMChangeNotifier::dropUnwatched() {
    if (m_paths.size() < m_sweepAt)
        return;
    for (auto entry = m_paths.begin(); entry != m_paths.end();)
        entry = (*entry)->isWatched() ? std::next(entry) : m_paths.erase(entry);
    m_sweepAt = std::max<int>(firstSweepAt, 2 * m_paths.size());
}

// The copies of the entries keep the emitting objects alive. A receiver may delete the notifier, so
// no member is used after a signal.

void CMChangeNotifier::valueChanged(const CMPath& path, const PlixValue& value) {
    if (const QSharedPointer<CMPathChanges> changes = m_paths.value(path))
        Q_EMIT changes->valueChanged(value, path);
}

void CMChangeNotifier::dataChanged(const CMPath& path, const QString& role) {
    if (const QSharedPointer<CMPathChanges> changes = m_paths.value(path))
        Q_EMIT changes->dataChanged(role, path);
}

void CMChangeNotifier::rowsChanged(const CMPath& path, const PlixList<PlixRowEvent>& events) {
    if (const QSharedPointer<CMPathChanges> changes = m_paths.value(path))
        Q_EMIT changes->rowsChanged(events, path);
}
