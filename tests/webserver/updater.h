// SPDX-License-Identifier: MIT
#pragma once

#include "core/plixhost.h"

#include <QDir>
#include <QFile>
#include <QMutex>
#include <QTemporaryDir>
#include <QThread>

#include <atomic>
#include <fcntl.h>
#include <future>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

// The firmware updater of a test: makes the updater's FIFO and reads image after image from it, on
// a thread of its own, at the pace of its manners.
class Updater {
public:
    struct Manners {
        int openDelayMs = 0; // before it opens its end for the first time; negative: never
        unsigned long burstPauseMs = 0;
        int leavesAfterBytes = -1; // once, in the midst of an image, and returns after a while
    };

    explicit Updater(const Manners& manners)
        : m_path(m_folder.filePath(QStringLiteral("pipe")).toUtf8()), m_manners(manners) {
        mkfifo(m_path.constData(), 0600);
        plixSetPlatformPaths(QString(), QString::fromUtf8(m_path));
        if (m_manners.openDelayMs >= 0)
            m_run = std::async(std::launch::async, [this] { run(); });
    }
    ~Updater() {
        m_stop = true;
        // Wakes a thread that waits for a writer.
        const int descriptor = ::open(m_path.constData(), O_RDWR | O_NONBLOCK);
        if (m_run.valid())
            m_run.wait();
        ::close(descriptor);
    }

    // What it has read up to an end of file.
    QByteArrayList images() const {
        const QMutexLocker lock(&m_mutex);
        return m_images;
    }
    // What was said of each of these beside the FIFO.
    QByteArrayList notices() const {
        const QMutexLocker lock(&m_mutex);
        return m_notices;
    }
    QString folder() const { return m_folder.path(); }
    // Nothing but the FIFO is there.
    bool isTidy() const { return QDir(folder()).entryList(QDir::Files) == QStringList(); }
    // Bytes of all images, also of those that have not ended.
    qint64 bytes() const { return m_bytes; }

private:
    void run() {
        QThread::msleep(static_cast<unsigned long>(m_manners.openDelayMs));
        while (!m_stop) {
            const int descriptor = ::open(m_path.constData(), O_RDONLY);
            const bool leaves = !readImage(descriptor);
            ::close(descriptor);
            QThread::msleep(leaves ? 200 : 0);
        }
    }

    bool readImage(int descriptor) {
        QByteArray image;
        QByteArray burst(64 * 1024, '\0');
        pollfd readable{descriptor, POLLIN, 0};
        while (!m_stop) {
            if (poll(&readable, 1, 10) == 0)
                continue;
            if (m_manners.leavesAfterBytes >= 0 && image.size() >= m_manners.leavesAfterBytes) {
                m_manners.leavesAfterBytes = -1;
                return false;
            }
            const auto size = ::read(descriptor, burst.data(), static_cast<size_t>(burst.size()));
            if (size <= 0)
                break;
            image.append(burst.constData(), static_cast<int>(size));
            m_bytes += size;
            QThread::msleep(m_manners.burstPauseMs);
        }
        QFile file(QString::fromUtf8(m_path + ".expected"));
        const QByteArray notice = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        const QMutexLocker lock(&m_mutex);
        if (m_stop)
            return true;
        m_images.append(image);
        m_notices.append(notice);
        return true;
    }

    QTemporaryDir m_folder;
    QByteArray m_path;
    Manners m_manners;
    mutable QMutex m_mutex;
    QByteArrayList m_images;
    QByteArrayList m_notices;
    std::atomic<qint64> m_bytes{0};
    std::atomic<bool> m_stop{false};
    std::future<void> m_run;
};
