// SPDX-License-Identifier: MIT
#include "handlers/multiparthandler.h"
#include "multipartpieces.h"
#include "openwatch.h"
#include "rawclient.h"
#include "responders/firmware/firmwareupdateresponder.h"
#include "responders/firmware/firmwareupdatewriter.h"
#include "responders/multipartresponderfactory.h"
#include "testdevice.h"
#include "updater.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

namespace {

// A multipart body of parts without names, and the header line that announces it.
QByteArray multipartBody(const QByteArrayList& contents) {
    QByteArray body;
    for (const QByteArray& content : contents)
        body += "--XyZ\r\nA: b\r\n\r\n" + content + "\r\n";
    return body + "--XyZ--\r\n";
}

const QByteArray multipartType = "Content-Type: multipart/form-data; boundary=XyZ\r\n";

// The header block and the content of one part after the other.
using Parts = QByteArrayList;

const QByteArray delimiter = "\r\n--XyZ";
const QByteArray lines = "\r\nA: b\r\n\r\n";
const QByteArray firstLines = delimiter + lines;

// Answers with 404 what has been uploaded.
struct UploadServer : TestServer {
    explicit UploadServer(const ConnectionLimits& limits = {},
                          int minimumBytesMs = FirmwareUpdateResponder::defaultMinimumBytesMs)
        : TestServer(false, limits) {
        add("/", new Handler(QString(), nullptr));
        addEarly("/",
                 new MultipartHandler(new Factory(minimumBytesMs), QString(), &server(), nullptr));
    }

private:
    struct Factory : MultipartResponderFactory {
        explicit Factory(int ms) : minimumBytesMs(ms) {}
        MultipartResponder* create(Request& request, const QString& root, Message* message,
                                   Server* server) override {
            return new FirmwareUpdateResponder(request, root, message, server, minimumBytesMs);
        }
        int minimumBytesMs;
    };
};

QByteArray uploadBytes(const QByteArrayList& parts, const QByteArray& items = {}) {
    return RawClient::requestBytes("POST", "/u?firmwareupdate=1" + items, multipartType,
                                   multipartBody(parts));
}

} // namespace

class TestUploads : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Whatever happened, the updater is free in the end.
    void cleanup() { QTRY_VERIFY(lockUpdater()); }

    void everySplit() {
        const QByteArray near = "\r\n--Xy\r\n--X\r\n--xyZ--XyZ--\r\r\n-\r\n--Xy";
        const QByteArray binary("\r\n\r\n\0\r\n\r\n", 9);
        const QVector<std::pair<QByteArray, Parts>> rows{
            {multipartBody({QByteArray(40, 'a'), "beta"}),
             {firstLines, QByteArray(40, 'a'), lines, "beta"}},
            {multipartBody({near, "\r\n" + near + "\r\n"}),
             {firstLines, near, lines, "\r\n" + near + "\r\n"}},
            // An empty content, and a delimiter in the place of the next one.
            {multipartBody({"", "", "x"}), {firstLines, "", firstLines, "", firstLines, "x"}},
            {multipartBody({binary, "--"}), {firstLines, binary, lines, "--"}},
            // Preamble and epilogue.
            {"before\r\n" + multipartBody({"alpha"}) + "\r\n\r\n--XyZ\r\n\r\nafter",
             {lines, "alpha"}},
            // No headers.
            {"--XyZ\r\n\r\na\r\n--XyZ--", {"\r\n--XyZ\r\n\r\n", "a"}},
            // Not closed.
            {"--XyZ" + lines + "alpha\r\n--Xy", {firstLines, "alpha\r\n--Xy"}},
            // Headers without an end, and with a NUL byte.
            {"--XyZ\r\nA: b\r\nalpha\r\n--XyZ--\r\n", {}},
            {"--XyZ\r\nA: " + QByteArray(1, '\0') + "\r\n\r\nalpha\r\n--XyZ--\r\n", {}},
            {"--Xy" + lines + "a\r\n--Xy--", {}},
            {"--XyZ--\r\n\r\n", {}}};
        for (const auto& [body, parts] : rows) {
            QByteArrayList pieces;
            for (const char byte : body)
                pieces.append(QByteArray(1, byte));
            QCOMPARE(splitPieces(delimiter, pieces), parts);
            for (int i = 0; i < body.size(); ++i) {
                for (int j = i; j < body.size(); ++j) {
                    pieces = {body.left(i), body.mid(i, j - i), body.mid(j)};
                    QCOMPARE(splitPieces(delimiter, pieces), parts);
                }
            }
        }
    }

    void endlessHeaderIsNotKept() {
        MultipartSplitter splitter(delimiter, [](const QByteArray&) { QFAIL("no part"); }, {});
        splitter.append("--XyZ\r\n", 7);
        for (int i = 0; i < 100; ++i) {
            splitter.append(QByteArray(1024, 'x').constData(), 1024);
            splitter.step(false);
            QVERIFY(splitter.size() < 2 * MultipartSplitter::maximumHeaderSize);
        }
    }

    void updaterReads() {
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
        // A client that is held back is not one that keeps silent.
        // Neither is it one that is too slow.
        const UploadServer server(patience(300), 200);
        const Updater updater({0, 400});
        // More than the buffers of both sockets hold.
        const QByteArray request = uploadBytes({noise(16 * 1024 * 1024)});
        RawClient client(server.port());
        client.send(request);
        QTRY_VERIFY(updater.bytes() > 200000);
        QVERIFY(client.socket().bytesToWrite() > 4 * 1024 * 1024);
        const qint64 read = updater.bytes();
        QTRY_VERIFY(updater.bytes() > read + 150000);
    }

    void withoutTheUpdater() {
        const UploadServer server;
        const Updater updater({-1});
        OpenWatch watch(updater.folder());
        // How many files were opened beside its FIFO.
        const auto openedFor = [&](const QByteArray& target, const QByteArrayList& parts) {
            RawClient::request(server.port(), "POST", target, multipartType, multipartBody(parts));
            return watch.count();
        };
        QElapsedTimer time;
        time.start();
        const int once = openedFor("/?firmwareupdate", {"x"});
        // Five attempts, whatever the number of parts, and only for an update.
        QVERIFY2(time.elapsed() >= 500, qPrintable(QString::number(time.elapsed())));
        QVERIFY(once > 0);
        QCOMPARE(openedFor("/?firmwareupdate", {noise(99999), "", "x"}), once);
        QCOMPARE(openedFor("/", {"x"}), 0);
        // Nor does a part try again that comes after the others failed.
        RawClient client(server.port());
        const QByteArray request = uploadBytes({"", "x"});
        client.send(request.left(request.size() - 14));
        int opened = 0;
        QTRY_COMPARE(opened += watch.count(), once);
        QTRY_VERIFY(lockUpdater());
        client.send(request.right(14));
        client.readReply();
        QCOMPARE(watch.count(), 0);
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
        const QByteArray request = uploadBytes({image}, "&length=2097152");
        RawClient first(server.port());
        first.send(request.left(request.size() / 2));
        QTRY_VERIFY(updater.bytes() > 0);
        RawClient second(server.port());
        second.send(uploadBytes({"second"}));
        const HttpReply reply = second.readReply();
        QCOMPARE(reply.status, 503);
        const QRegularExpression use(
            "from 127.0.0.1 and began \\d+ s ago; (\\d+) bytes of 2097152 ");
        const QString text = reply.body;
        QVERIFY2(use.match(text).captured(1).toInt() > 0, reply.body.constData());
        first.send(request.mid(request.size() / 2));
        QCOMPARE(first.readReply().status, 404);
        QTRY_VERIFY(updater.images() == QByteArrayList{image});
    }

    void brokenUpload() {
        const QByteArray image = noise(100000);
        const QByteArray part = "--XyZ\r\nA: b\r\n\r\n" + image;
        // A part without its closing boundary: a FIFO cannot say that something is missing, but it
        // says that it is over, and the notice that it is not complete.
        const QVector<std::tuple<QByteArray, qint64, QByteArrayList>> rows{
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
            client.readToEnd();
            client.abort();
            QTRY_VERIFY(updater.images() == images);
            QTRY_VERIFY(lockUpdater());
            QVERIFY(images.isEmpty() || updater.notices() == QByteArrayList{notice("false")});
            RawClient next(server.port());
            next.send(uploadBytes({"next"}));
            QCOMPARE(next.readReply().status, 404);
            QTRY_VERIFY(updater.images() == images + QByteArrayList{"next"});
            QCOMPARE(updater.notices().last(), notice("true"));
        }
    }

    void announcedImage() {
        const QByteArray digest(64, 'A');
        const QVector<std::tuple<QByteArray, int, QByteArray>> rows{
            {"&length=3", 404, notice("true", ",\"length\":3")},
            {"&sha256=" + digest + "&length=0", 404,
             notice("true", ",\"length\":0,\"sha256\":\"" + digest.toLower() + '"')},
            {"&length=", 400, {}},
            {"&length=-1", 400, {}},
            {"&length=1e3", 400, {}},
            {"&length=9999999999999999", 400, {}},
            {"&sha256=" + digest.chopped(1), 400, {}},
            {"&sha256=" + digest.chopped(1) + "%0A", 400, {}}};
        const UploadServer server;
        const Updater updater({});
        QByteArrayList notices;
        for (const auto& [items, status, expected] : rows) {
            RawClient client(server.port());
            client.send(uploadBytes({"abc"}, items));
            QCOMPARE(client.readReply().status, status);
            notices += expected.isNull() ? QByteArrayList() : QByteArrayList{expected};
            QTRY_COMPARE(updater.notices(), notices);
            QTRY_VERIFY(updater.isTidy());
        }
    }

    void uploadOfEmptyParts() {
        // On the same connection, and from a client that has left.
        for (const bool leaves : {false, true}) {
            const UploadServer server;
            const Updater updater({});
            const QByteArray body = QByteArray("--XyZ\r\n\r\n\r\n").repeated(90000) + "--XyZ--";
            RawClient client(server.port());
            client.send(RawClient::requestBytes("POST", "/?firmwareupdate", multipartType, body));
            if (leaves) {
                QTRY_VERIFY(!updater.images().isEmpty());
                client.reset();
            } else {
                QCOMPARE(client.readReply().status, 400);
            }
            QTRY_VERIFY(lockUpdater());
            QVERIFY(updater.images().size() <= FirmwareUpdateResponder::maximumParts);
            RawClient next(server.port());
            next.send(uploadBytes({"next"}));
            QCOMPARE(next.readReply().status, 404);
            QTRY_COMPARE(updater.images().last(), QByteArray("next"));
        }
    }

    void waitingPartsGoWithTheClient() {
        const UploadServer server;
        // Takes seconds for the first of them.
        const Updater updater({0, 100});
        const QByteArray image = noise(1024 * 1024);
        const QByteArray body = multipartBody({image, "a", "b", "c"});
        RawClient client(server.port());
        client.send(RawClient::requestBytes("POST", "/?firmwareupdate", multipartType, body));
        QTRY_VERIFY(client.socket().bytesToWrite() == 0 && updater.bytes() > 0);
        client.reset();
        QTRY_VERIFY(lockUpdater());
        QVERIFY(updater.images().size() <= 1);
    }

    void slowClientLosesTheUpdater() {
        const UploadServer server({}, 200);
        const Updater updater({});
        const QByteArray request = uploadBytes({noise(100000), "x"});
        RawClient client(server.port());
        client.send(request.left(60000));
        QTRY_COMPARE(updater.images().size(), 1);
        QTRY_VERIFY(lockUpdater());
        QCOMPARE(updater.notices(), QByteArrayList{notice("false")});
        client.send(request.mid(60000));
        QCOMPARE(client.readReply().status, 408);
        QCOMPARE(updater.images().size(), 1);
    }

private:
    static QByteArray notice(const QByteArray& complete, const QByteArray& announced = {}) {
        return "{\"complete\":" + complete + announced + "}\n";
    }
};

QTEST_GUILESS_MAIN(TestUploads)
#include "test_uploads.moc"
