#pragma once

#include "core/plixnamedpipe.h"
#include "responders/readerwatch.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QTimer>

#include <memory>

// The right to write into the updater's FIFO. Two writers at once would interleave their images.
using UpdaterLock = std::shared_ptr<const bool>;

// Null while somebody else holds it. Free again when the last copy is gone.
UpdaterLock lockUpdater();

// Brings the rest of an upload into the updater's FIFO without blocking: what is left of a part
// when it ends, and the parts behind it, each from a fresh opening. A part counts as delivered when
// the updater has read all of it and has seen its end of file; only then is the FIFO opened again,
// because an updater that did not see the end would take two images for one.
//
// Owns the FIFO's descriptor, the bytes and the updater's lock, and itself: it goes on when the
// upload's exchange and responder are gone, and deletes itself after finished().
class FirmwareUpdateDrain : public QObject {
    Q_OBJECT

public:
    // With at most so many bytes left the upload that feeds it may go on.
    static constexpr int lowWaterMark = 1023;
    // An updater that takes nothing for so long has stopped. Writing flash memory may keep it busy
    // for a while.
    static constexpr int stallTimeoutMs = 60000;

    // `pipe` is open for writing, non-blocking; `rest` goes into it first.
    FirmwareUpdateDrain(std::unique_ptr<PlixNamedPipe> pipe, const QByteArray& rest,
                        const UpdaterLock& lock);
    ~FirmwareUpdateDrain() override;

    void beginPart();
    // The next bytes of the part begun last.
    void append(const char* data, int size);
    // Nothing more will come.
    void end();
    bool isEnding() const { return m_ended; }
    // Bytes that are not written yet.
    int backlog() const;

    // Writes so many bytes of the buffer's front and removes them. False with errno set when not
    // all of them could be written.
    static bool writeFront(PlixNamedPipe& pipe, QByteArray& buffer, int length);
    // Lets an open FIFO hold more than usual, if the system allows it.
    static void enlarge(PlixNamedPipe& pipe);

Q_SIGNALS:
    // The backlog has come down to the low-water mark.
    void drained();
    // `complete`: every part has been read by the updater, or at least written to it.
    void finished(bool complete);

private Q_SLOTS:
    void on_writeNotifier_activated(int socket);
    void on_timer_timeout();
    void on_readerWatch_readerClosed();

private:
    enum State { Writing, WaitingForReader, WaitingForEndOfFile, Opening, Ended };

    void proceed();
    void write();
    void waitForReader();
    void nextPart();
    void openNext();
    void finish(bool complete);
    bool isPartOver() const { return m_parts.size() > 1 || m_ended; }

    State m_state = Writing;
    std::unique_ptr<PlixNamedPipe> m_pipe;
    // The first one is being written.
    QList<QByteArray> m_parts;
    UpdaterLock m_lock;
    bool m_ended = false;
    int m_attempts = 0;
    int m_unread = -1;
    // Since the updater took something.
    QElapsedTimer m_stalled;
    QTimer m_timer;
    std::unique_ptr<ReaderWatch> m_readerWatch;
};
