// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QTimer>

#include <memory>

class QSocketNotifier;

// Emits a signal when the network interfaces or their addresses may have changed: after a netlink
// notification, or at fixed intervals if netlink is not available.
class InterfaceWatcher : public QObject {
    Q_OBJECT

public:
    explicit InterfaceWatcher(QObject* parent);
    ~InterfaceWatcher() override;

Q_SIGNALS:
    // Once after several notifications that follow each other, as when an interface comes up.
    void changed();

private:
    void on_notices_arrived();

    int m_socket;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_timer;
};
