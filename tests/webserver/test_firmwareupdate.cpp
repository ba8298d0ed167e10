#include "core/plixpaths.h"
#include "handlers/multiparthandler.h"
#include "multipartbody.h"
#include "responders/firmwareupdatedrain.h"
#include "responders/firmwareupdateresponder.h"
#include "responders/multipartresponderfactory.h"
#include "testdevice.h"
#include "updater.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTest>

#include <sys/resource.h>

namespace {

// Answers with 404 what has been uploaded.
class UploadServer : public TestServer {
public:
    UploadServer() {
        add("/", new Handler(QString(), nullptr));
        addEarly("/",
                 new MultipartHandler(new DefaultMultipartResponderFactory<FirmwareUpdateResponder>,
                                      QString(), &server(), nullptr));
    }
};

QByteArray randomBytes(int size) {
    QByteArray bytes(size, '\0');
    QRandomGenerator generator(1);
    for (char& byte : bytes)
        byte = static_cast<char>(generator.generate());
    return bytes;
}

QByteArray uploadBytes(const QByteArrayList& parts) {
    return RawClient::requestBytes("POST", "/u?firmwareupdate=1", multipartType,
                                   multipartBody(parts));
}

// The most memory that the process has had, in kilobytes.
long peakMemory() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

class TestFirmwareUpdate : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Whatever happened, the updater is free in the end.
    void cleanup() { QTRY_VERIFY(lockUpdater()); }

    void delivers_data() {
        QTest::addColumn<int>("openDelayMs");
        QTest::addColumn<unsigned>("burstPauseMs");
        QTest::addColumn<QByteArrayList>("parts");
        const QByteArray image = randomBytes(3 * 1024 * 1024 + 123);
        QTest::newRow("one byte") << 0 << 0u << QByteArrayList{"x"};
        QTest::newRow("fast updater") << 0 << 0u << QByteArrayList{image};
        QTest::newRow("1 MB/s in bursts") << 0 << 64u << QByteArrayList{image.left(1000000)};
        QTest::newRow("updater that opens late") << 250 << 0u << QByteArrayList{image};
        QTest::newRow("parts, each from a fresh opening")
            << 0 << 0u << QByteArrayList{image.left(300000), "Upload", image.left(100000)};
        QTest::newRow("parts for a slow updater")
            << 0 << 20u << QByteArrayList{image.left(300000), image.left(300001), "Upload"};
    }
    void delivers() {
        QFETCH(int, openDelayMs);
        QFETCH(unsigned, burstPauseMs);
        QFETCH(QByteArrayList, parts);
        const UploadServer server;
        const Updater updater({openDelayMs, burstPauseMs});
        // Twice, the second upload directly behind the first, on the same connection.
        RawClient client(server.port());
        client.send(uploadBytes(parts) + uploadBytes(parts));
        QCOMPARE(client.readReply().status, 404);
        QCOMPARE(client.readReply().status, 404);
        QTRY_VERIFY(updater.images() == parts + parts);
    }

    void slowUpdaterStallsTheClient() {
        const UploadServer server;
        const Updater updater({0, 100});
        RawClient client(server.port());
        // More than the buffers of both sockets hold.
        client.send(uploadBytes({randomBytes(16 * 1024 * 1024)}));
        QTRY_VERIFY(updater.bytes() > 200000);
        QVERIFY(client.socket().bytesToWrite() > 4 * 1024 * 1024);
        const qint64 read = updater.bytes();
        QTRY_VERIFY(updater.bytes() > read + 500000);
    }

    void withoutTheUpdater() {
        const UploadServer server;
        const Updater updater({-1});
        QElapsedTimer time;
        for (const bool isUpdate : {true, false}) {
            time.start();
            QCOMPARE(RawClient::request(server.port(), "POST", isUpdate ? "/?firmwareupdate" : "/",
                                        multipartType, multipartBody({randomBytes(99999), "", "x"}))
                         .status,
                     404);
            // Five attempts, whatever the number of parts, and only for an update.
            QVERIFY2((time.elapsed() >= 500) == isUpdate && time.elapsed() < 900,
                     qPrintable(QString::number(time.elapsed())));
        }
    }

    void updaterThatLeaves() {
        const UploadServer server;
        const Updater updater({0, 0, 1000000});
        const QByteArray image = randomBytes(4 * 1024 * 1024);
        RawClient client(server.port());
        client.send(uploadBytes({image}));
        QCOMPARE(client.readReply().status, 500);
        // The connection and the updater are usable again.
        client.send(uploadBytes({image}));
        QCOMPARE(client.readReply().status, 404);
        QTRY_VERIFY(updater.images() == QByteArrayList{image});
    }

    void secondUploadIsRefused() {
        const UploadServer server;
        const Updater updater({0, 5});
        const QByteArray image = randomBytes(2 * 1024 * 1024);
        const QByteArray request = uploadBytes({image});
        RawClient first(server.port());
        first.send(request.left(request.size() / 2));
        QTRY_VERIFY(updater.bytes() > 0);
        RawClient second(server.port());
        second.send(uploadBytes({"second"}));
        QCOMPARE(second.readReply().status, 503);
        first.send(request.mid(request.size() / 2));
        QCOMPARE(first.readReply().status, 404);
        QTRY_VERIFY(updater.images() == QByteArrayList{image});
    }

    void brokenUpload_data() {
        QTest::addColumn<QByteArray>("headers");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArrayList>("images");
        const QByteArray length = multipartType + "Content-Length: ";
        const QByteArray part = "--XyZ\r\nA: b\r\n\r\n";
        const QByteArray image = randomBytes(100000);
        QTest::newRow("client that leaves in the midst") << length + "1000000\r\n"
                                                         << part + image << QByteArrayList{image};
        QTest::newRow("client that leaves in a chunk")
            << multipartType + "Transfer-Encoding: chunked\r\n"
            << "ffffff\r\n" + part + image << QByteArrayList{image};
        QTest::newRow("shorter than the length says")
            << length + "1000000\r\n"
            << multipartBody({image}) << QByteArrayList{image};
        QTest::newRow("longer than the length says")
            << length + "50015\r\n"
            << part + image << QByteArrayList{image.left(50000)};
        QTest::newRow("no boundary")
            << QByteArray("Content-Type: multipart/form-data\r\nContent-Length: 100015\r\n")
            << part + image << QByteArrayList{};
    }
    void brokenUpload() {
        QFETCH(QByteArray, headers);
        QFETCH(QByteArray, body);
        QFETCH(QByteArrayList, images);
        const UploadServer server;
        const Updater updater({0, 5});
        {
            RawClient client(server.port());
            client.send("POST /u?firmwareupdate HTTP/1.1\r\nHost: localhost\r\n" + headers +
                        "\r\n" + body);
            client.halfClose();
            client.readToEnd(500);
        }
        // A FIFO cannot say that something is missing; but it says that it is over.
        QTRY_VERIFY(updater.images() == images);
        QTRY_VERIFY(lockUpdater());
        RawClient client(server.port());
        client.send(uploadBytes({"next"}));
        QCOMPARE(client.readReply().status, 404);
        QTRY_VERIFY(updater.images() == images + QByteArrayList{"next"});
    }

    void throughTheUrlMap_data() {
        QTest::addColumn<bool>("tls");
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<int>("status");
        QTest::newRow("template page") << true << QByteArray("/update.fcgi") << 200;
        // The image is taken all the same; there is only no page to tell so.
        QTest::newRow("HTTP offers no pages") << false << QByteArray("/update.fcgi") << 404;
        QTest::newRow("below a path of its own") << false << QByteArray("/api/getData") << 500;
    }
    void throughTheUrlMap() {
        QFETCH(bool, tls);
        QFETCH(QByteArray, path);
        const TestDevice device(tls ? TestDevice::httpsNodes() : QVariantHash());
        device.writeFile("update.fcgi", "page");
        const Updater updater({});
        const QByteArray image = randomBytes(2000000);
        const HttpReply reply = RawClient::request(tls ? device.httpsPort() : device.port(), "POST",
                                                   path + "?firmwareupdate=1", multipartType,
                                                   multipartBody({image}), tls);
        QTEST(reply.status, "status");
        const bool isTaken = !path.startsWith("/api/");
        QTRY_VERIFY(updater.images() == (isTaken ? QByteArrayList{image} : QByteArrayList()));
    }

    void memoryStaysFlat() {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the sanitizer keeps freed memory");
#endif
        const UploadServer server;
        RawClient client(server.port());
        client.send("POST / HTTP/1.1\r\nHost: localhost\r\n" + multipartType +
                    "Content-Length: 268435465\r\n\r\n--XyZ\r\n\r\n");
        const QByteArray megabyte(1 << 20, 'x');
        client.send(megabyte);
        const long before = peakMemory();
        for (int i = 1; i < 256; ++i) {
            QTRY_COMPARE(client.socket().bytesToWrite(), 0);
            client.send(megabyte);
        }
        QCOMPARE(client.readReply().status, 404);
        QVERIFY2(peakMemory() - before < 8 * 1024, qPrintable(QString::number(peakMemory())));
    }

    // What remains of an upload whose request is gone.
    void drain_data() {
        QTest::addColumn<int>("leavesAfterBytes");
        QTest::addColumn<int>("size");
        QTest::newRow("slow updater") << -1 << 1000000;
        // All of it fits into the FIFO, so that no write tells.
        QTest::newRow("updater that leaves without reading") << 0 << 5000;
    }
    void drain() {
        QFETCH(int, leavesAfterBytes);
        QFETCH(int, size);
        const Updater updater({0, 10, leavesAfterBytes});
        auto pipe = std::make_unique<PlixNamedPipe>(PlixFirmwareUpdateDataPipe(),
                                                    PlixNamedPipe::Write, nullptr, false);
        pipe->setNonBlock(true);
        QTRY_VERIFY(pipe->open(false));
        const QByteArray rest = randomBytes(size);
        auto* drain = new FirmwareUpdateDrain(std::move(pipe), rest, lockUpdater());
        QVERIFY(!lockUpdater());
        int outcome = -1;
        connect(drain, &FirmwareUpdateDrain::finished, this, [&](bool ok) { outcome = ok; });
        drain->append("tail", 4);
        drain->beginPart();
        drain->append("part", 4);
        drain->end();
        QTRY_COMPARE(outcome, leavesAfterBytes < 0 ? 1 : 0);
        if (outcome)
            QTRY_VERIFY(updater.images() == (QByteArrayList{rest + "tail", "part"}));
    }
};

QTEST_GUILESS_MAIN(TestFirmwareUpdate)
#include "test_firmwareupdate.moc"
