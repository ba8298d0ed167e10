#include "core/plixnamedpipe.h"

#include <QFileInfo>
#include <QSignalSpy>
#include <QSocketNotifier>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

class TestNamedPipe : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void createsItsOwnFifoOnly();
    void refusesWhatIsNoFifo();
    void opensNonBlocking();
    void carriesBytesAndSeesTheEnd();
    void staysOpenBetweenWriters();
    void aBrokenPipeIsAnError();
    void mayBeDeletedByItsNotifier();

private:
    QString name(const char* name) const { return m_directory.filePath(QString::fromLatin1(name)); }

    QTemporaryDir m_directory;
};

void TestNamedPipe::createsItsOwnFifoOnly() {
    QFile foreign(name("foreign"));
    QVERIFY(foreign.open(QIODevice::WriteOnly));
    {
        PlixNamedPipe pipe(name("foreign"), PlixNamedPipe::Read, nullptr, true);
        QVERIFY(!pipe.create());
        QCOMPARE(errno, EEXIST);
        PlixNamedPipe own(name("own"), PlixNamedPipe::Read, nullptr, true);
        QVERIFY(own.create());
        QCOMPARE(int(QFile::permissions(name("own"))), 0x6600);
        PlixNamedPipe guest(name("own"), PlixNamedPipe::Write, nullptr, false);
        QVERIFY(!guest.create());
        guest.destroy();
        QVERIFY(QFileInfo::exists(name("own")));
    }
    QVERIFY(!QFileInfo::exists(name("own")));
    QVERIFY(foreign.exists());
}

void TestNamedPipe::refusesWhatIsNoFifo() {
    QFile file(name("file"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    for (const auto mode : {PlixNamedPipe::Read, PlixNamedPipe::Write}) {
        PlixNamedPipe pipe(name("file"), mode, nullptr, false);
        QVERIFY(!pipe.open(false));
        QCOMPARE(errno, EINVAL);
        QVERIFY(!pipe.isOpen());
        QVERIFY(!pipe.readNotifier() && !pipe.writeNotifier());
    }
    // A link that took the FIFO's place.
    PlixNamedPipe own(name("linked"), PlixNamedPipe::Read, nullptr, true);
    QVERIFY(own.create());
    QVERIFY(QFile::rename(name("linked"), name("moved")));
    QVERIFY(QFile::link(name("moved"), name("linked")));
    QVERIFY(!own.open(false));
    QCOMPARE(errno, ELOOP);
}

void TestNamedPipe::opensNonBlocking() {
    PlixNamedPipe reader(name("nonblock"), PlixNamedPipe::Read, nullptr, true);
    reader.setNonBlock(true);
    QVERIFY(reader.create());
    PlixNamedPipe writer(name("nonblock"), PlixNamedPipe::Write, nullptr, false);
    writer.setNonBlock(true);
    QVERIFY(!writer.open(false));
    QCOMPARE(errno, ENXIO);
    QVERIFY(reader.open(false));
    QVERIFY(writer.open(false));

    char byte;
    QCOMPARE(reader.read(&byte, 1), qint64(-1));
    QCOMPARE(errno, EAGAIN);
    const QByteArray block(1 << 16, 'x');
    while (writer.write(block.constData(), block.size()) > 0) {
    }
    QCOMPARE(errno, EAGAIN);
}

void TestNamedPipe::carriesBytesAndSeesTheEnd() {
    PlixNamedPipe reader(name("bytes"), PlixNamedPipe::Read, nullptr, true);
    QVERIFY(reader.create());
    // Without a writer, and without O_NONBLOCK afterwards.
    QVERIFY(reader.open(false));
    QVERIFY(!(fcntl(int(reader.readNotifier()->socket()), F_GETFL) & O_NONBLOCK));
    QVERIFY(fcntl(int(reader.readNotifier()->socket()), F_GETFD) & FD_CLOEXEC);
    QVERIFY(!reader.readNotifier()->isEnabled() && !reader.writeNotifier());
    PlixNamedPipe writer(name("bytes"), PlixNamedPipe::Write, nullptr, false);
    QVERIFY(writer.open(false));
    QCOMPARE(writer.write("a\0b", 3), qint64(3));
    writer.close();
    char data[8];
    QCOMPARE(reader.read(data, sizeof data), qint64(3));
    QCOMPARE(QByteArray(data, 3), QByteArray("a\0b", 3));
    QCOMPARE(reader.read(data, sizeof data), qint64(0));
}

void TestNamedPipe::staysOpenBetweenWriters() {
    PlixNamedPipe reader(name("kept"), PlixNamedPipe::Read, nullptr, true);
    reader.setNonBlock(true);
    QVERIFY(reader.create());
    QVERIFY(reader.open(true));
    for (int i = 0; i < 2; ++i) {
        PlixNamedPipe writer(name("kept"), PlixNamedPipe::Write, nullptr, false);
        QVERIFY(writer.open(false));
        QCOMPARE(writer.write("x", 1), qint64(1));
        writer.close();
        char data[8];
        QCOMPARE(reader.read(data, sizeof data), qint64(1));
        QCOMPARE(reader.read(data, sizeof data), qint64(-1));
        QCOMPARE(errno, EAGAIN);
    }
}

void TestNamedPipe::aBrokenPipeIsAnError() {
    signal(SIGPIPE, SIG_DFL);
    PlixNamedPipe reader(name("broken"), PlixNamedPipe::Read, nullptr, true);
    QVERIFY(reader.create());
    QVERIFY(reader.open(false));
    PlixNamedPipe writer(name("broken"), PlixNamedPipe::Write, nullptr, false);
    QVERIFY(writer.open(false));
    reader.close();
    QCOMPARE(writer.write("x", 1), qint64(-1));
    QCOMPARE(errno, EPIPE);
    sigset_t pending;
    sigpending(&pending);
    QVERIFY(!sigismember(&pending, SIGPIPE));
}

void TestNamedPipe::mayBeDeletedByItsNotifier() {
    auto* reader = new PlixNamedPipe(name("deleted"), PlixNamedPipe::Read, nullptr, true);
    QVERIFY(reader->create());
    QVERIFY(reader->open(false));
    QSocketNotifier* notifier = reader->readNotifier();
    connect(notifier, &QSocketNotifier::activated, this, [&reader] {
        delete reader;
        reader = nullptr;
    });
    QSignalSpy gone(notifier, &QObject::destroyed);
    notifier->setEnabled(true);
    PlixNamedPipe writer(name("deleted"), PlixNamedPipe::Write, nullptr, false);
    QVERIFY(writer.open(false));
    QCOMPARE(writer.write("x", 1), qint64(1));
    QTRY_VERIFY(!reader);
    QTRY_COMPARE(gone.count(), 1);
    QVERIFY(!QFileInfo::exists(name("deleted")));
}

QTEST_GUILESS_MAIN(TestNamedPipe)
#include "test_namedpipe.moc"
