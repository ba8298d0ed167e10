// SPDX-License-Identifier: MIT
#include "core/model/cmrootworker.h"
#include "core/plixhost.h"
#include "files.h"
#include "firmwareworker.h"

#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

class TestFirmware : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        std::signal(SIGPIPE, SIG_IGN);
        m_state = std::make_unique<QTemporaryDir>();
        m_pipe = m_state->filePath("pipe").toUtf8();
        plixSetPlatformPaths(QString(), m_pipe.constData());
    }

    void cleanup() { m_worker.reset(); }

    void receivesOneImageAfterTheOther() {
        start();
        QCOMPARE(update("state"), QVariant("idle"));
        struct stat status;
        QCOMPARE(lstat(m_pipe.constData(), &status), 0);
        QCOMPARE(status.st_mode, mode_t(S_IFIFO | 0600));
        for (const int size : {3000001, 1}) {
            const QByteArray bytes(size, 'x');
            QVERIFY(upload(bytes));
            QTRY_COMPARE(update("sha256").toByteArray(), digest(bytes));
            QCOMPARE(update("state"), QVariant("received"));
            QVERIFY(image() == bytes);
        }
        // Nothing that is broken, or not what was announced, takes its place.
        const QByteArray otherDigest(64, '0');
        for (const QByteArray& notice :
             {QByteArray(), QByteArray("{"), QByteArray("{\"complete\": false}"),
              QByteArray("{\"complete\": true, \"length\": 2}"),
              "{\"complete\": true, \"length\": 1, \"sha256\": \"" + otherDigest + "\"}"}) {
            QVERIFY(upload("new", "{\"complete\": true}"));
            QTRY_COMPARE(update("sha256").toByteArray(), digest("new"));
            QVERIFY(upload("x", notice));
            QTRY_COMPARE(update("state"), QVariant("failed"));
            QCOMPARE(image(), QByteArray("new"));
        }
        QVERIFY(upload("x",
                       "{\"complete\": true, \"length\": 1, \"sha256\": \"" + digest("x") + "\"}"));
        QTRY_COMPARE(image(), QByteArray("x"));
        m_worker.reset();
        QVERIFY(!QFileInfo::exists(m_pipe));
    }

    void runsWhatWasReceivedAfterRestart() {
        start();
        QString running = version("version");
        for (const auto& [bytes, next] :
             {std::pair(QByteArray("plix-firmware 2.0-b1\n\0rest", 26), QString("2.0-b1")),
              std::pair(QByteArray("plix-firmware " + QByteArray(100, '2') + '\n'), QString()),
              std::pair(QByteArray("plix-firmware \n"), QString())}) {
            QVERIFY(upload(bytes));
            const QString expected = next.isEmpty() ? QString(digest(bytes).left(12)) : next;
            QTRY_COMPARE(version("pending"), expected);
            QCOMPARE(version("version"), running);
            QVERIFY(upload("x", "{}"));
            QTRY_COMPARE(update("state"), QVariant("failed"));
            m_worker.reset();
            start();
            running = expected;
            QCOMPARE(version("version"), running);
            QCOMPARE(version("pending"), QString(""));
        }
    }

    void recoversFromFailures() {
        // What a crash has left.
        QCOMPARE(mkfifo(m_pipe.constData(), 0666), 0);
        const QString folder = m_state->filePath("firmware");
        QFile remains(folder + "/image.Ab12Cd");
        QVERIFY(QDir().mkdir(folder) && remains.open(QIODevice::WriteOnly));
        start();
        QVERIFY(!remains.exists());
        QVERIFY(upload(""));
        QTRY_COMPARE(update("state"), QVariant("failed"));
        QVERIFY(upload("next"));
        QTRY_COMPARE(image(), QByteArray("next"));
        QVERIFY(!QFile::exists(m_pipe + ".expected"));
        // A file in the folder's place: no image can be written, whoever runs the test. The
        // uploading side learns that nobody takes the rest.
        QVERIFY(QDir(folder).removeRecursively() && QFile(folder).open(QIODevice::WriteOnly));
        QVERIFY(!upload(QByteArray(1000000, 'x')));
        QCOMPARE(update("state"), QVariant("failed"));
        QVERIFY(QFile::remove(folder) && QDir().mkdir(folder));
        QVERIFY(upload("last"));
        QTRY_COMPARE(image(), QByteArray("last"));
    }

private:
    void start() {
        m_worker = std::make_unique<FirmwareWorker>(QVariantHash{{"stateDir", m_state->path()}});
    }
    QVariant update(const QString& member) const {
        return m_worker->role("firmware:update", "value").toHash().value(member);
    }
    QString version(const QString& node) const {
        return PlixValue(m_worker->role("firmware:" + node, "value").toHash()).string_();
    }
    static QByteArray digest(const QByteArray& bytes) {
        return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
    }
    QByteArray image() const { return readFile(m_state->filePath("firmware/image")); }
    // `notice`: what is said of it beside the FIFO. False when nobody reads any more.
    bool upload(const QByteArray& bytes, const QByteArray& notice = "{\"complete\": true}") const {
        if (notice.isEmpty())
            QFile::remove(m_pipe + ".expected");
        else
            writeFile(m_pipe + ".expected", notice);
        const int descriptor = ::open(m_pipe.constData(), O_WRONLY | O_NONBLOCK);
        ssize_t size = 0;
        for (int sent = 0; sent < bytes.size() && size >= 0; sent += int(size)) {
            size = ::write(descriptor, bytes.constData() + sent, size_t(bytes.size() - sent));
            if (size < 0 && errno == EAGAIN) {
                QTest::qWait(1);
                size = 0;
            }
        }
        ::close(descriptor);
        return size >= 0;
    }

    CMRootWorker m_root;
    std::unique_ptr<QTemporaryDir> m_state;
    std::unique_ptr<FirmwareWorker> m_worker;
    QByteArray m_pipe;
};

QTEST_GUILESS_MAIN(TestFirmware)
#include "test_firmware.moc"
