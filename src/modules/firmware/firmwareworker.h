// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmnodesworker.h"
#include "core/plixnamedpipe.h"

#include <QTimer>

#include <future>
#include <memory>

class FirmwareImage;

// A simulated firmware updater. It reads one image after the other from the updater's FIFO, each up
// to the end of file, and stores the last complete one as "firmware/image" below the state
// directory.
//
// The node "firmware:update" shows the progress: {"state": "idle|receiving|received|failed",
// "bytes": N, "sha256": hexadecimal digits of a received image}. Length, digest and completeness
// are in a file beside the FIFO, see firmwarenotice.h. An image that is incomplete or not as
// announced has the state "failed", and the previous image is not changed.
//
// The device runs the image that was stored when it was started: "firmware:version" is its version.
// "firmware:pending" is that of an image received since, which the next start runs; else it is
// empty.
//
// Configuration: "nodes"; "stateDir", the state directory.
class FirmwareWorker : public CMNodesWorker {
    Q_OBJECT

public:
    // Progress is reported at least this often while an image is received.
    static constexpr int progressBytes = 256 * 1024;
    static constexpr int progressMs = 200;

    explicit FirmwareWorker(const QVariantHash& config);
    ~FirmwareWorker() override;

private Q_SLOTS:
    void on_readNotifier_activated(int socket);
    void on_progressTimer_timeout();
    void on_image_committed(bool ok);

private:
    bool createPipe();
    void removeStalePipe();
    void openPipe();
    void receive(const char* data, int size);
    void endImage();
    void discard(const QString& reason);
    void fail(const QString& reason);
    void report(const QString& state, const QString& sha256 = QString(""));
    void provideVersion(const QString& path, const QString& title, const QString& version);

    QString m_imageFile;
    std::unique_ptr<PlixNamedPipe> m_pipe;
    std::unique_ptr<FirmwareImage> m_image;
    qint64 m_bytes = 0;
    qint64 m_reportedBytes = 0;
    QTimer m_progressTimer;
    // The running commit() of an image. The destructor waits for it.
    std::future<void> m_commit;
};
