#pragma once

#include <QObject>
#include <QTimer>

#include <memory>

class QSocketNotifier;

// Tells when the machine's network interfaces or their addresses may have changed. The kernel says
// so; where it cannot be asked, the signal comes at fixed intervals.
class InterfaceWatcher : public QObject {
    Q_OBJECT

public:
    explicit InterfaceWatcher(QObject* parent);
    ~InterfaceWatcher() override;

Q_SIGNALS:
    // One interface that comes up causes a row of notices; the signal follows the last of them.
    void changed();

private:
    void on_notices_arrived();

    int m_socket;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_timer;
};
