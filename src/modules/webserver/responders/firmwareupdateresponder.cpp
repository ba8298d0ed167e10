#include "responders/firmwareupdateresponder.h"

#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "core/plixconnect.h"
#include "core/plixlooptask.h"
#include "core/plixpaths.h"
#include "message.h"

#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace {

// The updater may not have its reading end open yet. The attempts block the event loop, so they
// are few.
constexpr int openAttempts = 5;
constexpr useconds_t openIntervalUs = 100000;

// Each write wakes the updater, which costs more than the bytes do. The chunks that arrive in one
// turn of the event loop are written together, up to so many bytes.
constexpr int writeBytes = 64 * 1024;

const QString failedText = QStringLiteral("The firmware updater did not take the image.\n");
const QString busyText = QStringLiteral("Another firmware image is being uploaded.\n");

} // namespace

FirmwareUpdateResponder::FirmwareUpdateResponder(Request& request, const QString& documentRoot,
                                                 Message* message, Server* server)
    : MultipartResponder(request, documentRoot, nullptr), m_message(message), m_server(server),
      m_active(message->url().hasQueryItem(QStringLiteral("firmwareupdate"))) {
    m_stallTimer.setSingleShot(true);
    m_stallTimer.setInterval(FirmwareUpdateDrain::stallTimeoutMs);
    plixConnect(&m_stallTimer, SIGNAL(timeout()), this, SLOT(on_stallTimer_timeout()));
    if (m_active)
        dbglog_info("Handling firmware update connection");
}

FirmwareUpdateResponder::~FirmwareUpdateResponder() {
    if (m_drain)
        m_drain->end();
}

void FirmwareUpdateResponder::respond() {
    dbglog_scopedFunction;
    dbglog_debug("The parts of the upload are the request; there is nothing to respond to");
}

void FirmwareUpdateResponder::newPart(const QByteArray& headers) {
    dbglog_scopedFunction;
    if (!m_active)
        return;
    dbglog_debug("New part: " << headers);
    m_partHeaders = headers;
    closeFile();
    if (m_drain)
        m_drain->beginPart();
    // Another five attempts for each part would only block the loop longer.
    else if (!m_updaterIsMissing)
        openFile();
}

void FirmwareUpdateResponder::partData(const char* data, unsigned int length) {
    dbglog_scopedFunction;
    if (!m_active)
        return;
    dbglog_debug("Data len: " << length);
    if (m_drain) {
        m_drain->append(data, static_cast<int>(length));
        if (m_drain && m_drain->backlog() > FirmwareUpdateDrain::lowWaterMark)
            pauseMessage(true);
        return;
    }
    m_buffer.append(data, static_cast<int>(length));
    if (m_buffer.size() >= writeBytes)
        writeDataToUpdater(static_cast<unsigned int>(m_buffer.size()));
    else if (!std::exchange(m_isWriteQueued, true))
        QMetaObject::invokeMethod(this, &FirmwareUpdateResponder::writeCollected,
                                  Qt::QueuedConnection);
}

void FirmwareUpdateResponder::finish() {
    dbglog_scopedFunction;
    closeFile();
    if (!m_drain)
        return;
    // The answer goes out when the updater has the image, not before.
    pauseMessage(true);
    m_drain->end();
}

void FirmwareUpdateResponder::openFile() {
    dbglog_scopedFunction;
    if (!m_lock)
        m_lock = lockUpdater();
    if (!m_lock) {
        dbglog_warning("A firmware update is under way already");
        refuse(503, busyText);
        return;
    }
    m_pipe = std::make_unique<PlixNamedPipe>(PlixFirmwareUpdateDataPipe(), PlixNamedPipe::Write,
                                             nullptr, false);
    m_pipe->setNonBlock(true);
    const PlixLoopTask task("opening", PlixFirmwareUpdateDataPipe, PlixLoopTaskKind::Expected);
    for (int attempt = 1; attempt <= openAttempts; ++attempt) {
        if (m_pipe->open(false)) {
            dbglog_info("Fifo opened on attempt #" << attempt);
            plixConnect(m_pipe->writeNotifier(), SIGNAL(activated(int)), this,
                        SLOT(on_writeNotifier_activated(int)));
            m_pipe->writeNotifier()->setEnabled(false);
            FirmwareUpdateDrain::enlarge(*m_pipe);
            return;
        }
        usleep(openIntervalUs);
    }
    dbglog_error("fifo open failed");
    m_updaterIsMissing = true;
    m_pipe.reset();
    m_lock.reset();
}

void FirmwareUpdateResponder::closeFile() {
    dbglog_scopedFunction;
    m_stallTimer.stop();
    if (!m_pipe)
        return;
    disconnect(m_pipe->writeNotifier(), nullptr, this, nullptr);
    m_drain = new FirmwareUpdateDrain(std::move(m_pipe), m_buffer, m_lock);
    m_buffer.clear();
    m_lock.reset();
    plixConnect(m_drain.data(), SIGNAL(drained()), this, SLOT(on_drain_drained()));
    plixConnect(m_drain.data(), SIGNAL(finished(bool)), this, SLOT(on_drain_finished(bool)));
}

void FirmwareUpdateResponder::cancelTransfer() {
    dbglog_scopedFunction;
    m_stallTimer.stop();
    m_buffer.clear();
    m_pipe.reset();
    m_lock.reset();
    refuse(500, failedText);
    pauseMessage(false);
}

bool FirmwareUpdateResponder::writeDataToUpdater(unsigned int length) {
    if (length == 0)
        return true;
    if (!m_pipe) {
        dbglog_warning("Pipe for write is not open!");
        m_active = false;
        m_buffer.clear();
        return false;
    }
    if (FirmwareUpdateDrain::writeFront(*m_pipe, m_buffer, static_cast<int>(length))) {
        m_stallTimer.stop();
        return true;
    }
    if (errno == EAGAIN) {
        m_stallTimer.start();
        pauseMessage(true);
        m_pipe->writeNotifier()->setEnabled(true);
        return false;
    }
    dbglog_error("Error writing to pipe: " << std::strerror(errno));
    cancelTransfer();
    return false;
}

void FirmwareUpdateResponder::on_writeNotifier_activated(int) {
    if (m_pipe && !m_buffer.isEmpty())
        writeDataToUpdater(static_cast<unsigned int>(m_buffer.size()));
    // Not before most of the backlog is gone: an upload that resumed for every byte would be
    // paused again by the next chunk.
    if (m_buffer.size() <= FirmwareUpdateDrain::lowWaterMark)
        pauseMessage(false);
    if (m_buffer.isEmpty() && m_pipe)
        m_pipe->writeNotifier()->setEnabled(false);
}

void FirmwareUpdateResponder::writeCollected() {
    m_isWriteQueued = false;
    // A full FIFO tells by itself when it takes more.
    if (m_active && !m_paused)
        writeDataToUpdater(static_cast<unsigned int>(m_buffer.size()));
}

void FirmwareUpdateResponder::on_drain_drained() {
    // Behind the last part the answer waits for more than this.
    if (m_drain && !m_drain->isEnding())
        pauseMessage(false);
}

void FirmwareUpdateResponder::on_drain_finished(bool complete) {
    m_drain = nullptr;
    m_active = false;
    if (!complete)
        refuse(500, failedText);
    pauseMessage(false);
}

void FirmwareUpdateResponder::on_stallTimer_timeout() {
    dbglog_warning("The updater takes nothing any more");
    cancelTransfer();
}

void FirmwareUpdateResponder::pauseMessage(bool pause) {
    if (m_paused == pause || !m_server || !m_message)
        return;
    m_paused = pause;
    m_server->pauseMessage(pause, m_message);
}

// Whatever still comes is dropped; libsoup answers with this once the body has been read.
void FirmwareUpdateResponder::refuse(int status, const QString& text) {
    m_active = false;
    if (!m_message)
        return;
    m_message->setStatus(status, QString());
    m_message->setResponseBody(text, MimeTypes::Text::plain());
}
