#include "responders/firmwareupdatedrain.h"

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

constexpr int openAttempts = 5;
constexpr int openIntervalMs = 100;

// How often the FIFO is looked at while the updater reads the last of it: nothing tells a writer
// that it is empty.
constexpr int readerIntervalMs = 1;

// An updater that has not closed its end by then keeps it open between images, and has had its turn
// to see the end of file.
constexpr int endOfFileMs = 1000;

// What the updater has not read by then stays in the FIFO for it; the upload's answer does not
// wait any longer.
constexpr int readerTimeoutMs = 10000;

constexpr int stallCheckMs = 1000;

// Room for the upload to go on while the updater is busy, and for the updater to take much at a
// time; little enough to stay in the processor's cache. Anybody may have so much.
constexpr int pipeBytes = 256 * 1024;

int unreadBytes(int descriptor) {
    int unread = 0;
    return ioctl(descriptor, FIONREAD, &unread) == 0 ? unread : 0;
}

bool hasReader(int descriptor) {
    pollfd state{descriptor, POLLOUT, 0};
    return poll(&state, 1, 0) >= 0 && !(state.revents & POLLERR);
}

} // namespace

UpdaterLock lockUpdater() {
    static std::weak_ptr<const bool> holder;
    if (!holder.expired())
        return {};
    auto lock = std::make_shared<const bool>(true);
    holder = lock;
    return lock;
}

FirmwareUpdateDrain::FirmwareUpdateDrain(std::unique_ptr<PlixNamedPipe> pipe,
                                         const QByteArray& rest, const UpdaterLock& lock)
    : QObject(QCoreApplication::instance()), m_pipe(std::move(pipe)), m_parts{rest}, m_lock(lock) {
    plixConnect(m_pipe->writeNotifier(), SIGNAL(activated(int)), this,
                SLOT(on_writeNotifier_activated(int)));
    m_timer.setSingleShot(true);
    plixConnect(&m_timer, SIGNAL(timeout()), this, SLOT(on_timer_timeout()));
    m_stalled.start();
    m_timer.start(0);
}

FirmwareUpdateDrain::~FirmwareUpdateDrain() = default;

void FirmwareUpdateDrain::beginPart() {
    if (m_state == Ended)
        return;
    m_parts.append(QByteArray());
    proceed();
}

void FirmwareUpdateDrain::append(const char* data, int size) {
    if (m_state == Ended)
        return;
    if (m_parts.first().isEmpty())
        m_stalled.restart();
    m_parts.last().append(data, size);
    proceed();
}

void FirmwareUpdateDrain::end() {
    m_ended = true;
    proceed();
}

int FirmwareUpdateDrain::backlog() const {
    int bytes = 0;
    for (const QByteArray& part : m_parts)
        bytes += part.size();
    return bytes;
}

bool FirmwareUpdateDrain::writeFront(PlixNamedPipe& pipe, QByteArray& buffer, int length) {
    int total = 0;
    while (total < length) {
        const qint64 written = pipe.write(buffer.constData(), length - total);
        if (written < 0)
            return false;
        buffer.remove(0, static_cast<int>(written));
        total += static_cast<int>(written);
    }
    return true;
}

void FirmwareUpdateDrain::enlarge(PlixNamedPipe& pipe) {
    const auto descriptor = static_cast<int>(pipe.writeNotifier()->socket());
    // The updater may have made it larger.
    if (fcntl(descriptor, F_GETPIPE_SZ) < pipeBytes)
        fcntl(descriptor, F_SETPIPE_SZ, pipeBytes);
}

void FirmwareUpdateDrain::on_writeNotifier_activated(int) {
    proceed();
}

void FirmwareUpdateDrain::on_timer_timeout() {
    proceed();
}

void FirmwareUpdateDrain::on_readerWatch_readerClosed() {
    // Before that it was a reader that did not wait for the end of file.
    if (m_state == WaitingForEndOfFile)
        nextPart();
}

void FirmwareUpdateDrain::proceed() {
    switch (m_state) {
    case Writing:
        return write();
    case WaitingForReader:
        return waitForReader();
    case WaitingForEndOfFile:
        // Only the timer says that the time has passed.
        return m_timer.isActive() ? void() : nextPart();
    case Opening:
        return m_timer.isActive() ? void() : openNext();
    case Ended:
        return;
    }
}

void FirmwareUpdateDrain::write() {
    QByteArray& part = m_parts.first();
    const int before = part.size();
    const bool isWritten = writeFront(*m_pipe, part, before);
    const int error = errno;
    if (part.size() < before)
        m_stalled.restart();
    if (!isWritten && error != EAGAIN) {
        dbglog_error("Error writing to pipe: " << std::strerror(error));
        return finish(false);
    }
    if (!isWritten && m_stalled.hasExpired(stallTimeoutMs)) {
        dbglog_error("The firmware updater does not read; " << backlog() << " bytes are lost");
        return finish(false);
    }
    m_pipe->writeNotifier()->setEnabled(!isWritten);
    if (isWritten && isPartOver()) {
        m_state = WaitingForReader;
        m_stalled.restart();
        m_readerWatch = std::make_unique<ReaderWatch>(m_pipe->name());
        plixConnect(m_readerWatch.get(), SIGNAL(readerClosed()), this,
                    SLOT(on_readerWatch_readerClosed()));
        waitForReader();
    } else {
        m_timer.start(stallCheckMs);
    }
    if (backlog() <= lowWaterMark)
        Q_EMIT drained();
}

void FirmwareUpdateDrain::waitForReader() {
    const auto descriptor = static_cast<int>(m_pipe->writeNotifier()->socket());
    const int unread = unreadBytes(descriptor);
    if (unread > 0 && !hasReader(descriptor)) {
        dbglog_error("The firmware updater left with " << unread << " bytes unread");
        return finish(false);
    }
    if (unread != m_unread)
        m_stalled.restart();
    m_unread = unread;
    if (unread > 0 && !m_stalled.hasExpired(readerTimeoutMs)) {
        m_timer.start(readerIntervalMs);
        return;
    }
    const bool isRead = hasReader(descriptor);
    m_pipe.reset();
    m_state = WaitingForEndOfFile;
    m_timer.start(isRead ? endOfFileMs : 0);
}

void FirmwareUpdateDrain::nextPart() {
    m_timer.stop();
    // Later, because it may be what calls.
    m_readerWatch.release()->deleteLater();
    m_parts.removeFirst();
    if (m_parts.isEmpty())
        return finish(true);
    m_state = Opening;
    m_attempts = 0;
    openNext();
}

void FirmwareUpdateDrain::openNext() {
    m_pipe = std::make_unique<PlixNamedPipe>(PlixFirmwareUpdateDataPipe(), PlixNamedPipe::Write,
                                             nullptr, false);
    m_pipe->setNonBlock(true);
    ++m_attempts;
    if (m_pipe->open(false)) {
        dbglog_info("Fifo opened on attempt #" << m_attempts);
        plixConnect(m_pipe->writeNotifier(), SIGNAL(activated(int)), this,
                    SLOT(on_writeNotifier_activated(int)));
        enlarge(*m_pipe);
        m_state = Writing;
        m_stalled.restart();
        return write();
    }
    if (m_attempts < openAttempts) {
        m_timer.start(openIntervalMs);
        return;
    }
    // What came before has been delivered; an updater that wants no more of it is no failure.
    dbglog_error("fifo open failed");
    finish(true);
}

void FirmwareUpdateDrain::finish(bool complete) {
    m_state = Ended;
    m_timer.stop();
    m_readerWatch.reset();
    m_pipe.reset();
    m_parts.clear();
    m_lock.reset();
    Q_EMIT finished(complete);
    deleteLater();
}
