// SPDX-License-Identifier: MIT
#pragma once

#include "plixexport.h"

#include <QObject>
#include <QString>

#include <memory>

class QSocketNotifier;

// One end of a FIFO in the file system. The creating side makes the FIFO with create() and removes
// it with destroy(); the other side only opens and closes it. The destructor closes the
// descriptor, and removes the FIFO if this object created it.
class PLIX_EXPORT PlixNamedPipe : public QObject {
    Q_OBJECT

public:
    enum Mode { Read = 1, Write = 2 };

    // `owner`: this object may create the FIFO, and removes it in its destructor.
    PlixNamedPipe(const QString& name, int mode, QObject* parent, bool owner);
    ~PlixNamedPipe() override;

    QString name() const { return m_name; }
    void setNonBlock(bool nonBlock) { m_nonBlock = nonBlock; }

    // Makes the FIFO with mode 0600. False with errno set on failure, also when the name exists: a
    // FIFO of somebody else is never used.
    bool create();

    // Opens this object's end. A non-blocking reading end opens at once; a non-blocking writing
    // end fails with ENXIO while there is no reader. Fails with EINVAL if it is no FIFO.
    // `keepOpen`: a reading end also opens a writing descriptor, so that there is no end of file
    // between two writers.
    bool open(bool keepOpen);
    bool isOpen() const { return m_descriptor >= 0; }

    // The number of bytes; -1 with errno set on failure. A broken pipe gives EPIPE and no signal. A
    // process that ignores SIGPIPE when it opens its end must continue to do so.
    qint64 write(const char* data, int length);
    qint64 read(char* data, int length);

    // Notifiers for the open descriptor; null while it is closed. Owned by the pipe, created
    // disabled at the first call, deleted when the pipe is closed.
    QSocketNotifier* readNotifier();
    QSocketNotifier* writeNotifier();

    // Closes the descriptor and does not remove the FIFO.
    void close();
    // Closes the descriptor and, if this object created the FIFO, removes it.
    void destroy();

private:
    // With deleteLater(), because the pipe may be closed or deleted in a slot of the notifier.
    struct NotifierDeleter {
        void operator()(QSocketNotifier* notifier) const;
    };

    bool openDescriptor();
    QSocketNotifier* notifier(int type);

    QString m_name;
    int m_mode;
    bool m_owner;
    bool m_created = false;
    bool m_nonBlock = false;
    // Determined when the pipe is opened, because two more system calls for each write would take
    // longer than a small write.
    bool m_isSigpipeIgnored = false;
    int m_descriptor = -1;
    int m_keptOpen = -1;
    std::unique_ptr<QSocketNotifier, NotifierDeleter> m_notifier;
};
