#include "core/plixpaths.h"
#include "handlers/multiparthandler.h"
#include "multipartbody.h"
#include "responders/firmwareupdatedrain.h"
#include "responders/firmwareupdateresponder.h"
#include "responders/multipartresponderfactory.h"
#include "testdevice.h"
#include "updater.h"

#include <QElapsedTimer>
#include <QTest>

namespace {

// Answers with 404 what has been uploaded.
struct UploadServer : TestServer {
    UploadServer() {
        add("/", new Handler(QString(), nullptr));
        addEarly("/",
                 new MultipartHandler(new DefaultMultipartResponderFactory<FirmwareUpdateResponder>,
                                      QString(), &server(), nullptr));
    }
};

QByteArray uploadBytes(const QByteArrayList& parts) {
    return RawClient::requestBytes("POST", "/u?firmwareupdate=1", multipartType,
                                   multipartBody(parts));
}

} // namespace

class TestFirmwareUpdate : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Whatever happened, the updater is free in the end.
    void cleanup() { QTRY_VERIFY(lockUpdater()); }

    void delivers() {
        const QByteArray image = noise(3 * 1024 * 1024 + 123);
        const QByteArrayList parts{image.left(300000), "Upload", image.left(300001)};
        const QVector<std::pair<Updater::Manners, QByteArrayList>> rows{
            {{}, {"x"}}, {{}, {image}}, {{250}, {image}}, {{}, parts}, {{0, 20}, parts}};
        for (const auto& [manners, images] : rows) {
            const UploadServer server;
            const Updater updater(manners);
            // Twice, the second upload directly behind the first, on the same connection.
            RawClient client(server.port());
            client.send(uploadBytes(images) + uploadBytes(images));
            QCOMPARE(client.readReply().status, 404);
            QCOMPARE(client.readReply().status, 404);
            QTRY_VERIFY(updater.images() == images + images);
        }
    }

    void transfers() {
        const QByteArrayList parts{noise(300000), "second"};
        const QByteArray body = multipartBody(parts);
        const QByteArray size = QByteArray::number(body.size());
        const QByteArray chunk = QByteArray::number(body.size(), 16) + "\r\n" + body;
        for (const auto& [headers, bytes] :
             {std::pair(QByteArray("Transfer-Encoding: chunked"), chunk + "\r\n0\r\n\r\n"),
              std::pair("Expect: 100-continue\r\nContent-Length: " + size, body)}) {
            const UploadServer server;
            const Updater updater({});
            RawClient client(server.port());
            client.send("POST /?firmwareupdate HTTP/1.1\r\nHost: localhost\r\n" + multipartType +
                        headers + "\r\n\r\n");
            if (headers.startsWith("Expect"))
                QCOMPARE(client.readReply().status, 100);
            client.send(bytes);
            QCOMPARE(client.readReply().status, 404);
            QTRY_VERIFY(updater.images() == parts);
        }
    }

    void slowUpdaterStallsTheClient() {
        UploadServer server;
        // A client that is held back is not one that keeps silent.
        server.server().setPatience(300);
        const Updater updater({0, 400});
        RawClient client(server.port());
        // More than the buffers of both sockets hold.
        client.send(uploadBytes({noise(16 * 1024 * 1024)}));
        QTRY_VERIFY(updater.bytes() > 200000);
        QVERIFY(client.socket().bytesToWrite() > 4 * 1024 * 1024);
        const qint64 read = updater.bytes();
        QTRY_VERIFY(updater.bytes() > read + 150000);
    }

    void withoutTheUpdater() {
        const UploadServer server;
        const Updater updater({-1});
        QElapsedTimer time;
        for (const bool isUpdate : {true, false}) {
            time.start();
            QCOMPARE(RawClient::request(server.port(), "POST", isUpdate ? "/?firmwareupdate" : "/",
                                        multipartType, multipartBody({noise(99999), "", "x"}))
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
        const QByteArray image = noise(4 * 1024 * 1024);
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
        const QByteArray image = noise(2 * 1024 * 1024);
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

    void brokenUpload() {
        const QByteArray image = noise(100000);
        const QByteArray part = "--XyZ\r\nA: b\r\n\r\n" + image;
        const QVector<std::tuple<QByteArray, int, QByteArrayList>> rows{
            {"form-data; boundary=XyZ", 1000000, {image}},           // a client that leaves
            {"form-data; boundary=XyZ", 50015, {image.left(50000)}}, // longer than it says
            {"form-data; boundary=\"XyZ\"", part.size(), {}},        // taken as it stands
            {"form-data; boundary=", part.size(), {}},
            {"form-data", part.size(), {}},
            {"mixed; boundary=XyZ", part.size(), {}}};
        for (const auto& [type, length, images] : rows) {
            const UploadServer server;
            const Updater updater({0, 5});
            RawClient client(server.port());
            client.send("POST /u?firmwareupdate HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
                        QByteArray::number(length) + "\r\nContent-Type: multipart/" + type +
                        "\r\n\r\n" + part);
            client.halfClose();
            client.readToEnd(500);
            client.abort();
            // A FIFO cannot say that something is missing; but it says that it is over.
            QTRY_VERIFY(updater.images() == images);
            QTRY_VERIFY(lockUpdater());
            RawClient next(server.port());
            next.send(uploadBytes({"next"}));
            QCOMPARE(next.readReply().status, 404);
            QTRY_VERIFY(updater.images() == images + QByteArrayList{"next"});
        }
    }
};

QTEST_GUILESS_MAIN(TestFirmwareUpdate)
#include "test_firmwareupdate.moc"
