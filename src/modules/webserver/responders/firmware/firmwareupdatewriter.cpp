// SPDX-License-Identifier: MIT
#include "responders/firmware/firmwareupdatewriter.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"
#include "core/plixpaths.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>

namespace {

// The updater may not have its reading end open yet.
constexpr int openAttempts = 5;
constexpr int openIntervalMs = 100;

// How often the FIFO is checked while the updater reads the rest: a writer gets no event when a
// FIFO becomes empty.
constexpr int readerIntervalMs = 1;

// An updater that has not closed its end by then keeps it open between images. It has had enough
// time to see the end of file.
constexpr int endOfFileMs = 1000;

// How long the response waits for the updater to read the rest. After that, unread bytes stay in
// the FIFO.
constexpr int readerTimeoutMs = 10000;

constexpr int stallCheckMs = 1000;

// Large enough that neither side often waits for the other. The system allows every user this size,
// and no larger one.
constexpr int pipeBytes = 1024 * 1024;

int unreadBytes(int descriptor) {
    int unread = 0;
    return ioctl(descriptor, FIONREAD, &unread) == 0 ? unread : 0;
}

int descriptorOf(PlixNamedPipe& pipe) {
    return static_cast<int>(pipe.writeNotifier()->socket());
}

// Increases the capacity of an open FIFO, if the system allows it.
void enlarge(PlixNamedPipe& pipe) {
    // The updater may have increased it more.
    if (fcntl(descriptorOf(pipe), F_GETPIPE_SZ) < pipeBytes)
        fcntl(descriptorOf(pipe), F_SETPIPE_SZ, pipeBytes);
}

bool hasReader(int descriptor) {
    pollfd state{descriptor, POLLOUT, 0};
    return poll(&state, 1, 0) >= 0 && !(state.revents & POLLERR);
}

} // namespace

FirmwareUpdateWriter::FirmwareUpdateWriter(const UpdaterLock& lock,
                                           const FirmwareUpdateExpectation& expectation)
    : QObject(QCoreApplication::instance()), m_lock(lock), m_expectation(expectation) {
    m_timer.setSingleShot(true);
    // A coarse timer may fire early and shorten the attempts to open the FIFO.
    m_timer.setTimerType(Qt::PreciseTimer);
    plixConnect(&m_timer, SIGNAL(timeout()), this, SLOT(on_timer_timeout()));
}

FirmwareUpdateWriter::~FirmwareUpdateWriter() = default;

void FirmwareUpdateWriter::Part::take(size_t size) {
    front += size;
    if (left() > 0)
        return;
    bytes.clear();
    front = 0;
}

void FirmwareUpdateWriter::beginPart() {
    if (m_state == Ended || m_ended)
        return;
    m_parts.emplace_back();
    if (m_parts.size() == 1)
        return openNext();
    Part& before = m_parts[m_parts.size() - 2];
    before.isOver = before.isComplete = true;
    if (m_state == Writing)
        writeBacklog();
}

void FirmwareUpdateWriter::write(const char* data, size_t size) {
    if (m_state == Ended || m_ended)
        return;
    m_lock->bytes += static_cast<qint64>(size);
    Part& part = m_parts.back();
    const bool hasTurn = m_state == Writing && m_parts.size() == 1 && part.left() == 0;
    const size_t written = hasTurn ? writeOnce(data, size) : 0;
    if (m_state == Ended || written == size)
        return;
    part.bytes.append(data + written, size - written);
    if (hasTurn)
        setWaiting(true);
}

void FirmwareUpdateWriter::end(bool complete) {
    if (m_state == Ended)
        return;
    if (!m_ended && !m_parts.empty()) {
        m_parts.back().isOver = true;
        m_parts.back().isComplete = complete;
    }
    m_ended = true;
    if (!complete && m_parts.size() > 1)
        m_parts.erase(m_parts.begin() + 1, m_parts.end());
    if (m_state == Writing)
        writeBacklog();
}

bool FirmwareUpdateWriter::isFull() const {
    return m_state == Opening || m_parts.size() > 1 ||
           (!m_parts.empty() && m_parts.front().left() > lowWaterMark);
}

void FirmwareUpdateWriter::on_writeNotifier_activated(int) {
    if (m_state == Writing)
        writeBacklog();
}

void FirmwareUpdateWriter::on_timer_timeout() {
    switch (m_state) {
    case Opening:
        return m_attempts < openAttempts ? tryOpening() : on_missing();
    case Writing:
        return checkStall();
    case WaitingForReader:
        return waitForReader();
    case WaitingForEndOfFile:
        return on_part_delivered();
    case Ended:
        return;
    }
}

void FirmwareUpdateWriter::on_readerCloseNotifier_readerClosed() {
    // In other states a reader closed before the end of file.
    if (m_state != WaitingForEndOfFile)
        return;
    m_notice->setAutoRemove(true);
    on_part_delivered();
}

void FirmwareUpdateWriter::openNext() {
    m_state = Opening;
    m_attempts = 0;
    const QString path = PlixFirmwareUpdateDataPipe();
    m_notice.emplace(path, m_expectation);
    m_pipe = std::make_unique<PlixNamedPipe>(path, PlixNamedPipe::Write, nullptr, false);
    m_pipe->setNonBlock(true);
    tryOpening();
}

void FirmwareUpdateWriter::tryOpening() {
    ++m_attempts;
    if (m_pipe->open(false))
        on_opened();
    else
        m_timer.start(openIntervalMs);
}

void FirmwareUpdateWriter::on_opened() {
    dbglog_info("Fifo opened on attempt #" << m_attempts);
    plixConnect(m_pipe->writeNotifier(), SIGNAL(activated(int)), this,
                SLOT(on_writeNotifier_activated(int)));
    enlarge(*m_pipe);
    m_state = Writing;
    writeBacklog();
}

void FirmwareUpdateWriter::on_missing() {
    dbglog_error("fifo open failed");
    // The parts before have been delivered. It is no failure if the updater reads no further ones.
    if (m_hasDelivered)
        return finish(Delivered);
    if (m_parts.front().left() > 0)
        dbglog_warning("Pipe for write is not open!");
    finish(Missing);
}

// The bytes that were written.
size_t FirmwareUpdateWriter::writeOnce(const char* data, size_t size) {
    size_t total = 0;
    while (total < size) {
        const qint64 written = m_pipe->write(data + total, static_cast<int>(size - total));
        if (written < 0) {
            if (errno != EAGAIN)
                fail(QStringLiteral("Error writing to pipe: ") +
                     QString::fromLocal8Bit(std::strerror(errno)));
            break;
        }
        total += static_cast<size_t>(written);
    }
    if (m_state != Ended && (total > 0 || !m_timer.isActive()))
        m_stalled.restart();
    return total;
}

void FirmwareUpdateWriter::writeBacklog() {
    const size_t left = m_parts.front().left();
    const size_t written = writeOnce(m_parts.front().begin(), left);
    if (m_state == Ended)
        return;
    Part& part = m_parts.front();
    part.take(written);
    if (written == left && part.isOver)
        return endPart();
    setWaiting(written < left);
    // Only at the low-water mark: an upload that is resumed earlier would be paused again by its
    // next chunk.
    if (!isFull())
        Q_EMIT roomMade();
}

// Whether to wait until the FIFO is writable.
void FirmwareUpdateWriter::setWaiting(bool waiting) {
    m_pipe->writeNotifier()->setEnabled(waiting);
    if (!waiting)
        m_timer.stop();
    else if (!m_timer.isActive())
        m_timer.start(stallCheckMs);
}

void FirmwareUpdateWriter::checkStall() {
    if (m_stalled.hasExpired(stallTimeoutMs))
        fail(QStringLiteral("The updater takes nothing any more"));
    else
        m_timer.start(stallCheckMs);
}

void FirmwareUpdateWriter::endPart() {
    if (m_parts.front().isComplete)
        m_notice->setComplete();
    m_pipe->writeNotifier()->setEnabled(false);
    m_state = WaitingForReader;
    m_unread = -1;
    m_stalled.restart();
    m_readerCloseNotifier = std::make_unique<ReaderCloseNotifier>(m_pipe->name());
    plixConnect(m_readerCloseNotifier.get(), SIGNAL(readerClosed()), this,
                SLOT(on_readerCloseNotifier_readerClosed()));
    waitForReader();
}

void FirmwareUpdateWriter::waitForReader() {
    const int descriptor = descriptorOf(*m_pipe);
    const int unread = unreadBytes(descriptor);
    if (unread > 0 && !hasReader(descriptor))
        return fail(QStringLiteral("The firmware updater left with %1 bytes unread").arg(unread));
    if (unread != m_unread)
        m_stalled.restart();
    m_unread = unread;
    if (unread > 0 && !m_stalled.hasExpired(readerTimeoutMs)) {
        m_timer.start(readerIntervalMs);
        return;
    }
    const bool isRead = hasReader(descriptor);
    // A reader that is still there may read the notice later.
    m_notice->setAutoRemove(!isRead);
    m_pipe.reset();
    m_state = WaitingForEndOfFile;
    m_timer.start(isRead ? endOfFileMs : 0);
}

void FirmwareUpdateWriter::on_part_delivered() {
    m_timer.stop();
    // Deleted later, because it may be the caller.
    m_readerCloseNotifier.release()->deleteLater();
    m_notice.reset();
    m_hasDelivered = true;
    m_parts.pop_front();
    if (m_parts.empty())
        return finish(Delivered);
    openNext();
}

void FirmwareUpdateWriter::fail(const QString& reason) {
    dbglog_error(reason);
    finish(Failed);
}

void FirmwareUpdateWriter::finish(Outcome outcome) {
    m_state = Ended;
    m_timer.stop();
    m_readerCloseNotifier.reset();
    m_pipe.reset();
    m_notice.reset();
    m_parts.clear();
    m_lock.reset();
    Q_EMIT finished(outcome);
    deleteLater();
}
