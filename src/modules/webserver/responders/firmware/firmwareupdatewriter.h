// SPDX-License-Identifier: MIT
#pragma once

#include "core/plixnamedpipe.h"
#include "responders/firmware/firmwareupdatenotice.h"
#include "responders/firmware/readerclosenotifier.h"
#include "responders/firmware/updaterlock.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <deque>
#include <memory>
#include <optional>
#include <string>

// Writes the parts of one upload into the updater's FIFO without blocking, and opens the FIFO for
// each part. A part is delivered when the updater has read all of it and has seen the end of file.
// Only then is the FIFO opened again, because an updater that has not seen the end would take two
// images for one. Parts that arrive meanwhile are buffered.
//
// Owns the FIFO's descriptor, the buffered bytes and the updater's lock. Nobody owns the writer: it
// completes the current part even if the exchange and the responder have been deleted, and deletes
// itself after finished().
class FirmwareUpdateWriter : public QObject {
    Q_OBJECT

public:
    // The low-water mark of the backlog: the upload is resumed at or below it.
    static constexpr size_t lowWaterMark = 1023;
    // An updater that reads nothing for this time has stalled. Writing flash memory may take a
    // while.
    static constexpr int stallTimeoutMs = 60000;

    enum Outcome {
        // Every part has been written, and was read or is still in the FIFO.
        Delivered,
        // The updater closed the FIFO or stalled.
        Failed,
        // Nobody has opened the FIFO for reading.
        Missing
    };

    FirmwareUpdateWriter(const UpdaterLock& lock, const FirmwareUpdateExpectation& expectation);
    ~FirmwareUpdateWriter() override;

    // The part before is complete.
    void beginPart();
    // The next bytes of the latest part.
    void write(const char* data, size_t size);
    // No more data will come. `complete`: the last part is complete. Otherwise the upload was
    // cancelled, and parts whose writing has not begun are dropped.
    void end(bool complete);
    bool isEnding() const { return m_ended; }
    // Whether the upload should be paused until roomMade().
    bool isFull() const;

Q_SIGNALS:
    void roomMade();
    void finished(FirmwareUpdateWriter::Outcome outcome);

private Q_SLOTS:
    void on_writeNotifier_activated(int socket);
    void on_timer_timeout();
    void on_readerCloseNotifier_readerClosed();

private:
    enum State { Opening, Writing, WaitingForReader, WaitingForEndOfFile, Ended };
    struct Part {
        // The bytes from `front` on have not been written.
        std::string bytes;
        size_t front = 0;
        bool isOver = false;
        bool isComplete = false;

        const char* begin() const { return bytes.data() + front; }
        size_t left() const { return bytes.size() - front; }
        void take(size_t size);
    };

    void openNext();
    void tryOpening();
    void on_opened();
    void on_missing();
    size_t writeOnce(const char* data, size_t size);
    void writeBacklog();
    void setWaiting(bool waiting);
    void checkStall();
    void endPart();
    void waitForReader();
    void on_part_delivered();
    void fail(const QString& reason);
    void finish(Outcome outcome);

    State m_state = Opening;
    UpdaterLock m_lock;
    FirmwareUpdateExpectation m_expectation;
    std::optional<FirmwareUpdateNotice> m_notice;
    std::unique_ptr<PlixNamedPipe> m_pipe;
    // The first one is being written.
    std::deque<Part> m_parts;
    bool m_ended = false;
    bool m_hasDelivered = false;
    int m_attempts = 0;
    int m_unread = -1;
    // Since the updater last read something.
    QElapsedTimer m_stalled;
    QTimer m_timer;
    std::unique_ptr<ReaderCloseNotifier> m_readerCloseNotifier;
};
