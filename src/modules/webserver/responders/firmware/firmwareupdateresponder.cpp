// SPDX-License-Identifier: MIT
#include "responders/firmware/firmwareupdateresponder.h"

#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "core/plixconnect.h"

namespace {

const QString failedText = QStringLiteral("The firmware updater did not take the image.\n");
const QString busyText = QStringLiteral("Another firmware image is being uploaded.\n");
const QString slowText = QStringLiteral("The firmware image came too slowly.\n");
const QString manyPartsText = QStringLiteral("A firmware upload has one file; this has more "
                                             "parts than are accepted.\n");
const QString badItemText = QStringLiteral(
    "The query item \"length\" is a number of bytes, \"sha256\" 64 hexadecimal digits.\n");

} // namespace

FirmwareUpdateResponder::FirmwareUpdateResponder(Request& request, const QString& documentRoot,
                                                 Message* message, Server*, int minimumBytesMs)
    : MultipartResponder(request, documentRoot, nullptr), m_message(message),
      m_active(message->url().hasQueryItem(QStringLiteral("firmwareupdate"))) {
    m_minimumTimer.setInterval(minimumBytesMs);
    plixConnect(&m_minimumTimer, SIGNAL(timeout()), this, SLOT(on_minimumTimer_timeout()));
    if (!m_active)
        return;
    dbglog_info("Handling firmware update connection");
}

FirmwareUpdateResponder::~FirmwareUpdateResponder() {
    // The exchange has ended.
    if (m_writer)
        m_writer->end(false);
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
    if (++m_parts > maximumParts)
        return giveUp(400, manyPartsText);
    openFile();
}

void FirmwareUpdateResponder::partData(const char* data, unsigned int length) {
    dbglog_scopedFunction;
    if (!m_active)
        return;
    dbglog_debug("Data len: " << length);
    m_recentBytes += length;
    writeDataToUpdater(data, length);
}

void FirmwareUpdateResponder::finish() {
    dbglog_scopedFunction;
    m_minimumTimer.stop();
    closeFile();
    updatePause();
}

void FirmwareUpdateResponder::openFile() {
    dbglog_scopedFunction;
    if (!m_writer && !takeUpdater())
        return;
    m_writer->beginPart();
    updatePause();
}

bool FirmwareUpdateResponder::takeUpdater() {
    const auto expectation = FirmwareUpdateExpectation::fromUrl(m_message->url());
    if (!expectation) {
        giveUp(400, badItemText);
        return false;
    }
    const UpdaterLock lock = lockUpdater(m_message->remoteAddress(), expectation->length);
    if (!lock) {
        dbglog_warning("A firmware update is under way already");
        giveUp(503, busyText + updaterUseText());
        return false;
    }
    m_writer = new FirmwareUpdateWriter(lock, *expectation);
    plixConnect(m_writer.data(), &FirmwareUpdateWriter::roomMade, this,
                &FirmwareUpdateResponder::on_writer_roomMade);
    plixConnect(m_writer.data(), &FirmwareUpdateWriter::finished, this,
                &FirmwareUpdateResponder::on_writer_finished);
    m_minimumTimer.start();
    return true;
}

void FirmwareUpdateResponder::closeFile() {
    dbglog_scopedFunction;
    if (m_writer)
        m_writer->end(isBodyComplete());
}

void FirmwareUpdateResponder::cancelTransfer() {
    dbglog_scopedFunction;
    giveUp(500, failedText);
}

bool FirmwareUpdateResponder::writeDataToUpdater(const char* data, unsigned int length) {
    if (length == 0)
        return true;
    if (!m_writer) {
        dbglog_warning("Pipe for write is not open!");
        m_active = false;
        return false;
    }
    m_writer->write(data, length);
    updatePause();
    return m_writer && !m_writer->isFull();
}

void FirmwareUpdateResponder::on_writer_roomMade() {
    updatePause();
}

void FirmwareUpdateResponder::on_writer_finished(FirmwareUpdateWriter::Outcome outcome) {
    m_writer = nullptr;
    m_minimumTimer.stop();
    if (outcome == FirmwareUpdateWriter::Failed)
        return cancelTransfer();
    // Further parts are dropped: attempts to open the FIFO for each would delay the answer in vain.
    m_active = false;
    updatePause();
}

void FirmwareUpdateResponder::on_minimumTimer_timeout() {
    const bool isTooSlow = m_recentBytes < minimumBytes && !m_wasPaused;
    m_recentBytes = 0;
    m_wasPaused = m_paused;
    if (!isTooSlow)
        return;
    dbglog_warning("A firmware upload is too slow and is cancelled");
    giveUp(408, slowText);
}

void FirmwareUpdateResponder::updatePause() {
    // After the last part the response waits until the updater has read the image.
    pauseMessage(m_writer && (m_writer->isEnding() || m_writer->isFull()));
}

void FirmwareUpdateResponder::pauseMessage(bool pause) {
    if (m_paused == pause || !m_message)
        return;
    m_paused = pause;
    m_wasPaused = m_wasPaused || pause;
    if (pause)
        m_message->pause();
    else
        m_message->unpause();
}

// The rest of the body is dropped. libsoup sends the response when it has read the body.
void FirmwareUpdateResponder::giveUp(int status, const QString& text) {
    m_active = false;
    m_minimumTimer.stop();
    if (m_writer) {
        m_writer->disconnect(this);
        m_writer->end(false);
        m_writer = nullptr;
    }
    if (m_message) {
        m_message->setStatus(status, QString());
        m_message->setResponseBody(text, MimeTypes::Text::plain());
    }
    pauseMessage(false);
}
