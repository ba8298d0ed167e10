// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

// Connects a signal with a slot, both given by SIGNAL() and SLOT() or as member functions, and
// asserts that the connection was made: a misspelt slot name is a programming error.
template <typename Sender, typename Signal, typename Receiver, typename Slot>
QMetaObject::Connection plixConnect(const Sender* sender, Signal signal, const Receiver* receiver,
                                    Slot slot, Qt::ConnectionType type = Qt::AutoConnection) {
    const auto connection = QObject::connect(sender, signal, receiver, slot, type);
    Q_ASSERT(connection);
    return connection;
}

inline QMetaObject::Connection plixConnect(const QObject* sender, const char* signal,
                                           const QObject* receiver, const char* slot,
                                           Qt::ConnectionType type = Qt::AutoConnection) {
    const auto connection = QObject::connect(sender, signal, receiver, slot, type);
    Q_ASSERT(connection);
    return connection;
}
