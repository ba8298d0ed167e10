// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

// Emits a signal when a reader of a FIFO closes it. Readers do that at the end of file; it is the
// only sign that they have seen it. Emits nothing when the system does not offer inotify.
class ReaderCloseNotifier : public QObject {
    Q_OBJECT

public:
    explicit ReaderCloseNotifier(const QString& fifo);
    ~ReaderCloseNotifier() override;

Q_SIGNALS:
    // From the event loop; the receiver may delete the notifier.
    void readerClosed();

private Q_SLOTS:
    void on_notifier_activated(int socket);

private:
    int m_descriptor;
};
