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

// Writes the parts of one upload into the updater's FIFO without blocking, each from a fresh
// opening. A part counts as delivered when the updater has read all of it and has seen its end of
// file; only then is the FIFO opened again, because an updater that did not see the end would take
// two images for one. Parts that come meanwhile wait.
//
// Owns the FIFO's descriptor, the bytes that wait, the updater's lock, and itself: it brings the
// part under way to its end when the upload's exchange and responder are gone, and deletes itself
// after finished().
class FirmwareUpdateWriter : public QObject {
    Q_OBJECT

public:
    // With at most so many bytes left of a backlog the upload may go on.
    static constexpr size_t lowWaterMark = 1023;
    // An updater that takes nothing for so long has stopped. Writing flash memory may keep it busy
    // for a while.
    static constexpr int stallTimeoutMs = 60000;

    enum Outcome {
        // Every part has been read by the updater, or at least written to it.
        Delivered,
        // The updater left or stalled.
        Failed,
        // Nobody has opened the FIFO for reading.
        Missing
    };

    FirmwareUpdateWriter(const UpdaterLock& lock, const FirmwareUpdateExpectation& expectation);
    ~FirmwareUpdateWriter() override;

    // Ends the part before as a complete one.
    void beginPart();
    // The next bytes of the part begun last.
    void write(const char* data, size_t size);
    // Nothing more will come. `complete`: the last part has come to its end. Otherwise the client
    // has left or is given up, and parts that have not had their turn are dropped.
    void end(bool complete);
    bool isEnding() const { return m_ended; }
    // The upload should wait for roomMade().
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
        // What could not be written yet begins at `front`.
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
    // Since the updater took something.
    QElapsedTimer m_stalled;
    QTimer m_timer;
    std::unique_ptr<ReaderCloseNotifier> m_readerCloseNotifier;
};
