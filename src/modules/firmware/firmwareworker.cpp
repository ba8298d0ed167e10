// SPDX-License-Identifier: MIT
#include "firmwareworker.h"

#include "core/dbglog.h"
#include "core/model/cmroles.h"
#include "core/plixconnect.h"
#include "core/plixpaths.h"
#include "firmwareimage.h"
#include "firmwarenotice.h"

#include <QDir>
#include <QFile>
#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString updatePath = QStringLiteral("firmware:update");
const QString versionPath = QStringLiteral("firmware:version");
const QString pendingPath = QStringLiteral("firmware:pending");

// Of a device that has never received an image.
const QString firstVersion = QStringLiteral("1.0.0");

// The usual capacity of a FIFO, and the number of reads in one turn of the event loop.
constexpr int readSize = 64 * 1024;
constexpr int readsPerTurn = 4;

// Whether the FIFO has a reader.
bool hasReader(const QByteArray& path) {
    const int descriptor = ::open(path.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor >= 0)
        ::close(descriptor);
    return descriptor >= 0;
}

} // namespace

FirmwareWorker::FirmwareWorker(const QVariantHash& config)
    : CMNodesWorker(config, QStringLiteral("firmware")) {
    const QString folder =
        config.value(QStringLiteral("stateDir")).toString() + QStringLiteral("/firmware");
    m_imageFile = folder + QStringLiteral("/image");
    if (!QDir().mkpath(folder))
        dbglog_error("Firmware images cannot be stored: cannot create " << folder);
    FirmwareImage::removeRemains(m_imageFile);

    setNode(updatePath, {{PlixRoles::Title(), QStringLiteral("Firmware update")},
                         {PlixRoles::Modifiable(), false}});
    const QString stored = FirmwareImage::storedVersion(m_imageFile);
    provideVersion(versionPath, QStringLiteral("Firmware version"),
                   stored.isEmpty() ? firstVersion : stored);
    provideVersion(pendingPath, QStringLiteral("Firmware version after the next start"),
                   QString(""));
    report(QStringLiteral("idle"));
    m_progressTimer.setInterval(progressMs);
    plixConnect(&m_progressTimer, SIGNAL(timeout()), this, SLOT(on_progressTimer_timeout()));
    removeStalePipe();
    if (createPipe())
        openPipe();
}

FirmwareWorker::~FirmwareWorker() {
    if (m_commit.valid())
        m_commit.wait();
}

// Removes the FIFO that a crash has left. A FIFO with a reader belongs to another updater.
void FirmwareWorker::removeStalePipe() {
    const QByteArray path = QFile::encodeName(PlixFirmwareUpdateDataPipe());
    struct stat status;
    if (lstat(path.constData(), &status) != 0 || !S_ISFIFO(status.st_mode) || hasReader(path))
        return;
    ::unlink(path.constData());
    removeNotice(PlixFirmwareUpdateDataPipe());
}

bool FirmwareWorker::createPipe() {
    m_pipe = std::make_unique<PlixNamedPipe>(PlixFirmwareUpdateDataPipe(), PlixNamedPipe::Read,
                                             nullptr, true);
    m_pipe->setNonBlock(true);
    if (m_pipe->create())
        return true;
    dbglog_error("No firmware updates: " << m_pipe->name() << ": " << std::strerror(errno));
    m_pipe.reset();
    return false;
}

void FirmwareWorker::openPipe() {
    // Opened for each image: a descriptor at the end of file stays readable until there is another
    // writer, and would keep the event loop busy.
    m_pipe->close();
    if (!m_pipe->open(false)) {
        dbglog_error("No firmware updates: " << m_pipe->name() << ": " << std::strerror(errno));
        return;
    }
    plixConnect(m_pipe->readNotifier(), SIGNAL(activated(int)), this,
                SLOT(on_readNotifier_activated(int)));
    m_pipe->readNotifier()->setEnabled(true);
}

void FirmwareWorker::on_readNotifier_activated(int) {
    std::array<char, readSize> buffer;
    for (int i = 0; i < readsPerTurn && m_pipe; ++i) {
        const qint64 size = m_pipe->read(buffer.data(), readSize);
        if (size == 0)
            return endImage();
        if (size < 0 && errno == EAGAIN)
            return;
        if (size < 0)
            return fail(QString::fromLocal8Bit(std::strerror(errno)));
        receive(buffer.data(), static_cast<int>(size));
        // It has failed, and the FIFO has been replaced.
        if (!m_image)
            return;
    }
}

void FirmwareWorker::receive(const char* data, int size) {
    if (!m_image) {
        m_image = std::make_unique<FirmwareImage>(m_imageFile);
        m_bytes = 0;
        if (!m_image->open())
            return fail(m_image->errorString());
        dbglog_info("Receiving a firmware image");
        report(QStringLiteral("receiving"));
        m_progressTimer.start();
    }
    if (!m_image->write(data, size))
        return fail(m_image->errorString());
    m_bytes = m_image->size();
    if (m_bytes - m_reportedBytes >= progressBytes)
        report(QStringLiteral("receiving"));
}

void FirmwareWorker::endImage() {
    if (!m_image) {
        removeNotice(m_pipe->name());
        m_bytes = 0;
        return fail(QStringLiteral("an upload without a single byte"));
    }
    m_progressTimer.stop();
    // Before the reading end is closed, because the writer removes the notice after that.
    const QString objection = objectionTo(m_pipe->name(), m_image->size(), m_image->sha256());
    removeNotice(m_pipe->name());
    if (!objection.isNull()) {
        discard(objection);
        return openPipe();
    }
    report(QStringLiteral("receiving"));
    // The next upload can write into the FIFO meanwhile.
    openPipe();
    if (m_pipe->readNotifier())
        m_pipe->readNotifier()->setEnabled(false);
    m_commit = std::async(std::launch::async, [this] {
        const bool ok = m_image->commit();
        QMetaObject::invokeMethod(this, "on_image_committed", Qt::QueuedConnection,
                                  Q_ARG(bool, ok));
    });
}

void FirmwareWorker::on_image_committed(bool ok) {
    m_commit.wait();
    if (!ok)
        return fail(m_image->errorString());
    const QString sha256 = m_image->sha256();
    PlixValue version;
    version.setString_(m_image->version());
    m_image.reset();
    dbglog_info("Received firmware " << version.string_() << ": " << m_bytes << " bytes, SHA-256 "
                                     << sha256);
    setValue(pendingPath, version);
    report(QStringLiteral("received"), sha256);
    if (m_pipe->readNotifier())
        m_pipe->readNotifier()->setEnabled(true);
}

// The previous image is not changed.
void FirmwareWorker::discard(const QString& reason) {
    dbglog_warning("Firmware image failed: " << reason);
    m_progressTimer.stop();
    m_image.reset();
    report(QStringLiteral("failed"));
}

void FirmwareWorker::fail(const QString& reason) {
    discard(reason);
    // A new FIFO: the writer of this image gets EPIPE, and its remaining bytes are not taken for
    // the beginning of the next image.
    m_pipe.reset();
    if (createPipe())
        openPipe();
}

void FirmwareWorker::provideVersion(const QString& path, const QString& title,
                                    const QString& version) {
    PlixValue value;
    value.setString_(version);
    setNode(path, {{PlixRoles::Title(), title},
                   {PlixRolesType::Value(), value.__variant()},
                   {PlixRoles::Modifiable(), false}});
}

void FirmwareWorker::on_progressTimer_timeout() {
    if (m_bytes > m_reportedBytes)
        report(QStringLiteral("receiving"));
}

void FirmwareWorker::report(const QString& state, const QString& sha256) {
    m_reportedBytes = m_bytes;
    setRole(updatePath, PlixRolesType::Value(),
            QVariantHash{{QStringLiteral("state"), state},
                         {QStringLiteral("bytes"), m_bytes},
                         {QStringLiteral("sha256"), sha256}});
}
