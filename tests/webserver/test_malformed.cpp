// SPDX-License-Identifier: MIT
#include "message.h"
#include "rawclient.h"
#include "table.h"
#include "testdevice.h"

#include <QTest>

namespace {

// Behaviour, status, and what is sent: ~ stands for CR LF, HEADERS and MEGABYTE for what is too
// long to be written here. Only what is answered with 200 has reached a handler. One row for each
// status: which requests are refused is tested without connections.
const char requests[] = R"(
empty lines before    |200|~~GET / HTTP/1.1~Host: localhost~~
not HTTP              |400|G(T / HTTP/1.1~Host: localhost~~
version 2             |505|PRI * HTTP/2.0~~SM~~
CONNECT               |405|CONNECT localhost:80 HTTP/1.1~Host: localhost~~
absolute URI with port|200|GET http://[::1]:8080/ HTTP/1.1~Host: [::1]:8080~~
the most headers      |200|GET / HTTP/1.1~Host: localhost~HEADERS~
line without end      |431|GET / HTTP/1.1~Host: localhost~MEGABYTE
unknown expectation   |417|POST / HTTP/1.1~Host: localhost~Content-Length: 1~Expect: more~~x
unknown encoding      |501|POST / HTTP/1.1~Host: localhost~Transfer-Encoding: chunkedx~~0~~
chunks                |200|POST / HTTP/1.1~Host: localhost~Transfer-Encoding: chunked~~3~abc~0~~
chunk extension       |200|POST / HTTP/1.1~Host: localhost~Transfer-Encoding: chunked~~3;a=b~abc~0~~
trailers              |200|POST / HTTP/1.1~Host: localhost~Transfer-Encoding: chunked~~0~X: y~Z: y~~
long chunk extension  |400|POST / HTTP/1.1~Host: localhost~Transfer-Encoding: chunked~~3;MEGABYTE
)";

QByteArray bytesOf(QByteArray text) {
    return text.replace("HEADERS", QByteArray("a: b~").repeated(99))
        .replace("MEGABYTE", QByteArray(1 << 20, 'a'))
        .replace("~", "\r\n");
}

// Answers with the request's body, and counts.
struct EchoServer : TestServer {
    int calls = 0;

    EchoServer() {
        add("/", [this](Message* message) {
            ++calls;
            message->setStatus(200, QString());
            message->setResponseBody(message->requestBody() + '.', QStringLiteral("text/plain"));
        });
    }
};

constexpr int mebibyte = 1 << 20;

qint64 residentBytes() {
    return readFile("/proc/self/statm").split(' ').at(1).toLongLong() * 4096;
}

} // namespace

// What comes from those who do not mean well, or do not know better.
class TestMalformed : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void request_data() { addRows(requests); }
    void request() {
        QFETCH(const QByteArrayList, fields);
        const int status = fields[0].toInt();
        const QByteArray bytes = bytesOf(fields[1]);
        EchoServer server;
        RawClient client(server.port());
        client.send(bytes);
        const HttpReply reply = client.readReply();
        QCOMPARE(reply.status, status);
        QCOMPARE(reply.header("X-Robots-Tag"), QByteArray("noindex"));
        QCOMPARE(server.calls, status == 200 ? 1 : 0);
        if (status == 200) {
            client.send(RawClient::requestBytes("GET", "/"));
            QCOMPARE(client.readReply().status, 200);
        } else {
            QVERIFY(client.readToEnd().isEmpty());
            QVERIFY(!client.isConnected());
        }
    }

    void expectationsChangeNothing() {
        EchoServer server;
        RawClient client(server.port());
        client.send("POST / HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\n"
                    "Transfer-Encoding: chunked\r\n\r\n");
        QCOMPARE(client.readReply().status, 100);
        client.send("0\r\n\r\n");
        const HttpReply reply = client.readReply();
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.header("X-Robots-Tag"), QByteArray("noindex"));
        QVERIFY(reply.header("Date").endsWith("GMT"));
        client.send(RawClient::requestBytes("GET", "/"));
        QCOMPARE(client.readReply().status, 200);
    }

    void bodyIsLimited_data() {
        QTest::addColumn<QByteArray>("head");
        QTest::addColumn<QByteArray>("piece");
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("status");
        const QByteArray sized = "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: ";
        const QByteArray chunked =
            "POST / HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n";
        const QByteArray bytes(mebibyte, 'x');
        QTest::newRow("the most") << sized + "1048576\r\n\r\n" << bytes << 1 << 200;
        QTest::newRow("more, only said") << sized + "1048577\r\n\r\n" << bytes << 0 << 413;
        QTest::newRow("more, sent") << sized + "134217728\r\n\r\n" << bytes << 128 << 413;
        QTest::newRow("chunks without end") << chunked << "100000\r\n" + bytes + "\r\n"
                                            << 128 << 413;
        QTest::newRow("chunks of a byte")
            << chunked << QByteArray("1\r\nx\r\n").repeated(100000) << 2 << 413;
    }
    void bodyIsLimited() {
        QFETCH(QByteArray, head);
        QFETCH(QByteArray, piece);
        QFETCH(int, count);
        QFETCH(int, status);
        EchoServer server;
        RawClient client(server.port());
        [[maybe_unused]] const qint64 before = residentBytes();
        client.send(head);
        for (int i = 0; i < count && client.isConnected(); ++i) {
            client.send(piece);
            // The client's own buffer does not count.
            QTRY_VERIFY(client.socket().bytesToWrite() < mebibyte || !client.isConnected());
        }
#ifndef __SANITIZE_ADDRESS__ // which keeps what is freed for a while
        QVERIFY(residentBytes() - before < 16 * mebibyte);
#endif
        const HttpReply reply = client.readReply();
        QCOMPARE(reply.status, status);
        QCOMPARE(server.calls, reply.status == 200 ? 1 : 0);
        if (reply.status != 200)
            QVERIFY(client.waitForClose() || client.readToEnd().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestMalformed)
#include "test_malformed.moc"
