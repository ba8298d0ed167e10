#pragma once

#include <QObject>
#include <QString>

// Tells when somebody who reads a FIFO closes it, which is what readers do at an end of file, and
// the only sign that they have seen it. Without the system's help (inotify) it never tells.
class ReaderWatch : public QObject {
    Q_OBJECT

public:
    explicit ReaderWatch(const QString& fifo);
    ~ReaderWatch() override;

Q_SIGNALS:
    // From the event loop; the receiver may delete the watch.
    void readerClosed();

private Q_SLOTS:
    void on_notifier_activated(int socket);

private:
    int m_descriptor;
};
