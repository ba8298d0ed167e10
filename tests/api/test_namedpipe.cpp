// SPDX-License-Identifier: MIT
#include "core/plixnamedpipe.h"

#include <QFileInfo>
#include <QSignalSpy>
#include <QSocketNotifier>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

class TestNamedPipe : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Each test begins with a new FIFO that nobody has opened.
    void init() {
        m_reader = std::make_unique<PlixNamedPipe>(m_name, PlixNamedPipe::Read, nullptr, true);
        m_writer = std::make_unique<PlixNamedPipe>(m_name, PlixNamedPipe::Write, nullptr, false);
        QVERIFY(m_reader->create());
    }

    void cleanup() {
        m_reader.reset();
        QVERIFY(!QFileInfo::exists(m_name));
    }

    void touchesItsOwnFifoOnly() {
        QCOMPARE(int(QFile::permissions(m_name)), 0x6600);
        QVERIFY(!m_writer->create());
        m_writer->destroy();
        QVERIFY(!PlixNamedPipe(m_name, PlixNamedPipe::Read, nullptr, true).create());
        QVERIFY(QFileInfo::exists(m_name));
        // A file, and then a link, that took the FIFO's place.
        const QString moved = m_directory.filePath("moved");
        QVERIFY(QFile::rename(m_name, moved) && QFile(m_name).open(QIODevice::WriteOnly));
        for (PlixNamedPipe* pipe : {m_reader.get(), m_writer.get()}) {
            QVERIFY(!pipe->open(false));
            QCOMPARE(errno, EINVAL);
            QVERIFY(!pipe->isOpen() && !pipe->readNotifier() && !pipe->writeNotifier());
        }
        QVERIFY(QFile::remove(m_name) && QFile::link(moved, m_name));
        QVERIFY(!m_reader->open(false));
        QCOMPARE(errno, ELOOP);
    }

    void carriesBytesWithoutBlocking() {
        m_reader->setNonBlock(true);
        m_writer->setNonBlock(true);
        QVERIFY(!m_writer->open(false));
        QCOMPARE(errno, ENXIO);
        // Between two writers it stays open.
        QVERIFY(m_reader->open(true));
        QByteArray data(1 << 20, '\0');
        for (int i = 0; i < 2; ++i) {
            QVERIFY(m_writer->open(false));
            QCOMPARE(m_writer->write("a\0b", 3), qint64(3));
            QCOMPARE(m_reader->read(data.data(), data.size()), qint64(3));
            QCOMPARE(data.left(3), QByteArray("a\0b", 3));
            m_writer->close();
            QCOMPARE(m_reader->read(data.data(), data.size()), qint64(-1));
            QCOMPARE(errno, EAGAIN);
        }
        QVERIFY(m_writer->open(false));
        while (m_writer->write(data.constData(), data.size()) > 0) {
        }
        QCOMPARE(errno, EAGAIN);
    }

    void seesTheEnd() {
        // Opened without a writer, and without O_NONBLOCK afterwards.
        QVERIFY(m_reader->open(false));
        const int descriptor = int(m_reader->readNotifier()->socket());
        QVERIFY(!(fcntl(descriptor, F_GETFL) & O_NONBLOCK));
        QVERIFY(fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
        QVERIFY(m_writer->open(false));
        m_writer->close();
        char byte;
        QCOMPARE(m_reader->read(&byte, 1), qint64(0));
    }

    void aBrokenPipeIsAnError() {
        signal(SIGPIPE, SIG_DFL);
        QVERIFY(m_reader->open(false) && m_writer->open(false));
        m_reader->close();
        QCOMPARE(m_writer->write("x", 1), qint64(-1));
        QCOMPARE(errno, EPIPE);
        sigset_t pending;
        sigpending(&pending);
        QVERIFY(!sigismember(&pending, SIGPIPE));
    }

    void mayBeDeletedByItsNotifier() {
        QVERIFY(m_reader->open(false) && m_writer->open(false));
        QSocketNotifier* notifier = m_reader->readNotifier();
        connect(notifier, &QSocketNotifier::activated, this, [this] { m_reader.reset(); });
        QSignalSpy gone(notifier, &QObject::destroyed);
        notifier->setEnabled(true);
        QCOMPARE(m_writer->write("x", 1), qint64(1));
        QTRY_VERIFY(!m_reader);
        QTRY_COMPARE(gone.count(), 1);
    }

private:
    QTemporaryDir m_directory;
    const QString m_name = m_directory.filePath("pipe");
    std::unique_ptr<PlixNamedPipe> m_reader;
    std::unique_ptr<PlixNamedPipe> m_writer;
};

QTEST_GUILESS_MAIN(TestNamedPipe)
#include "test_namedpipe.moc"
