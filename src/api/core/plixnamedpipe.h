#pragma once

#include <QObject>
#include <QString>

#include <memory>

class QSocketNotifier;

// One end of a FIFO in the file system. The creating side makes the FIFO with create() and removes
// it with destroy(); the other side only opens and closes it. The destructor closes the
// descriptor, and removes the FIFO if this object created it.
class PlixNamedPipe : public QObject {
    Q_OBJECT

public:
    enum Mode { Read = 1, Write = 2 };

    // `owner`: this object may create the FIFO and removes it at its end.
    PlixNamedPipe(const QString& name, int mode, QObject* parent, bool owner);
    ~PlixNamedPipe() override;

    QString name() const { return m_name; }
    void setNonBlock(bool nonBlock) { m_nonBlock = nonBlock; }

    // Makes the FIFO, readable and writable for its owner only (0600). False with errno set when
    // that fails, also when anything of that name exists already: a foreign FIFO is never reused.
    bool create();

    // Opens this object's end. A non-blocking reading end opens at once; a non-blocking writing
    // end fails with ENXIO while nobody reads. Anything but a FIFO is refused (EINVAL).
    // `keepOpen`: a reading end also holds a writing descriptor, so that it sees no end of file
    // when one writer leaves and the next may come.
    bool open(bool keepOpen);
    bool isOpen() const { return m_descriptor >= 0; }

    // The bytes written or read; -1 with errno set on failure. A broken pipe is EPIPE, never a
    // signal, provided that a process which ignores SIGPIPE when it opens its end goes on to.
    qint64 write(const char* data, int length);
    qint64 read(char* data, int length);

    // Watch the open descriptor; null while it is closed. Owned by the pipe, created disabled
    // on the first call, deleted when the pipe closes.
    QSocketNotifier* readNotifier();
    QSocketNotifier* writeNotifier();

    // Closes the descriptor; the FIFO stays.
    void close();
    // Closes the descriptor and, if this object created the FIFO, removes it.
    void destroy();

private:
    // Later, because the pipe may be closed or deleted inside the notifier's activated().
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
    // When it was opened; asked for once, because two more system calls for each write cost more
    // than the write of a small piece.
    bool m_isSigpipeIgnored = false;
    int m_descriptor = -1;
    int m_keptOpen = -1;
    std::unique_ptr<QSocketNotifier, NotifierDeleter> m_notifier;
};
