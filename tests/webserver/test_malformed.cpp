#include "handlers/handler.h"
#include "message.h"
#include "rawclient.h"
#include "testdevice.h"

#include <QTest>

namespace {

const QByteArray host = "Host: localhost\r\n";

// Answers with the request's body and counts.
class EchoHandler : public Handler {
public:
    explicit EchoHandler(int* calls) : Handler(QString(), nullptr), m_calls(calls) {}
    void handle(Message* message) override {
        ++*m_calls;
        message->setStatus(200, QString());
        message->setResponseBody(message->requestBody() + '.', QStringLiteral("text/plain"));
    }

private:
    int* m_calls;
};

qint64 residentBytes() {
    QFile statm(QStringLiteral("/proc/self/statm"));
    statm.open(QIODevice::ReadOnly);
    return statm.readAll().split(' ').at(1).toLongLong() * 4096;
}

} // namespace

// What comes from those who do not mean well, or do not know better.
class TestMalformed : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void request_data();
    void request();
    void refusalSaysWhy();
    void bodyIsLimited_data();
    void bodyIsLimited();
    void rangesAreNotCutFromMemory();
};

// "closes": the connection ends with the answer. "calls": how many requests a handler has seen.
void TestMalformed::request_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("status"); // 0: no answer
    QTest::addColumn<bool>("closes");
    QTest::addColumn<int>("calls");
    const auto served = [](const QByteArray& name, const QByteArray& bytes, bool closes = false) {
        QTest::newRow(name.constData()) << bytes << 200 << closes << 1;
    };
    const auto refused = [](const QByteArray& name, const QByteArray& bytes, int status = 400) {
        QTest::newRow(name.constData()) << bytes << status << true << 0;
    };
    const QByteArray get = "GET / HTTP/1.1\r\n";
    const QByteArray post = "POST / HTTP/1.1\r\n" + host;
    const QByteArray chunked = post + "Transfer-Encoding: chunked\r\n\r\n";

    // Request lines.
    served("plain", get + host + "\r\n");
    served("empty lines before", "\r\n\r\n" + get + host + "\r\n");
    served("several spaces", "GET   /   HTTP/1.1\r\n" + host + "\r\n");
    served("unknown method", "BREW / HTTP/1.1\r\n" + host + "\r\n");
    served("bare LF", "GET / HTTP/1.1\nHost: localhost\n\n");
    refused("lower-case version", "GET / http/1.1\r\n" + host + "\r\n");
    refused("no version", "GET /\r\n\r\n");
    refused("version 2", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", 505);
    refused("version 1.2", "GET / HTTP/1.2\r\n" + host + "\r\n", 505);
    refused("version without minor", "GET / HTTP/1\r\n" + host + "\r\n");
    refused("rubbish after the version", "GET / HTTP/1.1 x\r\n" + host + "\r\n");
    refused("method only", "GET\r\n\r\n");
    refused("NUL in the method", QByteArray("G\0T / HTTP/1.1\r\n", 16) + host + "\r\n");
    refused("relative path", "GET index.html HTTP/1.1\r\n" + host + "\r\n");
    refused("TLS hello", QByteArray("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\r\n\r\n", 13));
    refused("only empty lines", QByteArray("\r\n").repeated(1000));
    refused("CONNECT without authority", "CONNECT [ HTTP/1.1\r\n" + host + "\r\n");
    refused("CONNECT", "CONNECT localhost:80 HTTP/1.1\r\n" + host + "\r\n");
    served("CONNECT to a path", "CONNECT / HTTP/1.1\r\n" + host + "\r\n");

    // Hosts.
    refused("no Host", get + "\r\n");
    refused("two Hosts", get + host + "Host: device\r\n\r\n");
    refused("two equal Hosts", get + host + host + "\r\n");
    refused("space before the colon", get + "Host : localhost\r\n\r\n");
    refused("Host with a path", get + "Host: localhost/x\r\n\r\n");
    served("absolute URI", "GET http://localhost/ HTTP/1.1\r\n" + host + "\r\n");
    served("absolute URI with port", "GET http://[::1]:8080/ HTTP/1.1\r\nHost: [::1]:8080\r\n\r\n");
    refused("absolute URI of another host", "GET http://example.com/ HTTP/1.1\r\n" + host + "\r\n");
    refused("absolute URI of another port",
            "GET http://localhost:81/ HTTP/1.1\r\n" + host + "\r\n");
    refused("absolute URI of another scheme", "GET ftp://localhost/ HTTP/1.1\r\n" + host + "\r\n");
    refused("absolute URI without host", "GET http: HTTP/1.1\r\n" + host + "\r\n");

    // Header lines. What is no header is ignored.
    served("folded", get + host + "X: a\r\n b\r\n\r\n");
    served("folded first line", get + " X: a\r\n" + host + "\r\n");
    served("without colon", get + host + "nonsense\r\n\r\n");
    served("without name", get + host + ": x\r\n\r\n");
    refused("NUL in a value", get + host + QByteArray("X: a\0b\r\n\r\n", 10));
    refused("101 headers", get + host + QByteArray("a: b\r\n").repeated(100) + "\r\n", 431);
    served("100 headers", get + host + QByteArray("a: b\r\n").repeated(99) + "\r\n");
    QTest::newRow("line without end") << get + host + QByteArray(1000000, 'a') << 0 << true << 0;
    QTest::newRow("headers without end")
        << get + host + QByteArray("a: b\r\n").repeated(200000) << 0 << true << 0;
    refused("unknown expectation", post + "Expect: more\r\nContent-Length: 1\r\n\r\nx", 417);

    // Lengths.
    served("length", post + "Content-Length: 3\r\n\r\nabc");
    served("the same length twice", post + "Content-Length: 3\r\nContent-Length: 3\r\n\r\nabc");
    refused("two lengths", post + "Content-Length: 3\r\nContent-Length: 4\r\n\r\nabcd");
    refused("list of lengths", post + "Content-Length: 3, 3\r\n\r\nabc");
    refused("length and encoding",
            post + "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n");
    refused("encoding and length",
            post + "Transfer-Encoding: chunked\r\nContent-Length: 3\r\n\r\n0\r\n\r\n");
    for (const QByteArray length : {"-1", "+3", "0x3", "3 3", "", "99999999999999999999"})
        refused("length " + length, post + "Content-Length: " + length + "\r\n\r\nabc");
    refused("two encodings",
            post + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n");
    for (const QByteArray encoding : {"identity", "gzip, chunked", "chunked, chunked", "xchunked"})
        refused("encoding " + encoding,
                post + "Transfer-Encoding: " + encoding + "\r\n\r\n0\r\n\r\n", 501);

    // Chunks. What follows them is never taken for a request.
    served("chunks", chunked + "3\r\nabc\r\n0\r\n\r\n", true);
    served("chunk extension", chunked + "3;a=b\r\nabc\r\n0\r\n\r\n", true);
    served("trailers", chunked + "0\r\nX: y\r\nZ: y\r\n\r\n" + get + host + "\r\n", true);
    served("chunk size overflow", chunked + "fffffffffffffffff\r\nabc\r\n" + get + host, true);
    served("chunk size no number", chunked + "zz\r\n\r\n", true);
    QTest::newRow("long chunk extension")
        << chunked + "3;" + QByteArray(1000, 'x') + "\r\nabc\r\n0\r\n\r\n"
        << 0 << true << 0;
}

void TestMalformed::request() {
    QFETCH(QByteArray, bytes);
    QFETCH(bool, closes);
    int calls = 0;
    TestServer server;
    server.add("/", new EchoHandler(&calls));
    RawClient client(server.port());
    client.send(bytes);
    QTEST(client.readReply().status, "status");
    QTEST(calls, "calls");
    if (closes) {
        QVERIFY(client.readToEnd(2000).isEmpty());
        QVERIFY(!client.isConnected());
    } else {
        client.send(RawClient::requestBytes("GET", "/"));
        QCOMPARE(client.readReply().status, 200);
    }
}

void TestMalformed::refusalSaysWhy() {
    int calls = 0;
    for (const bool tls : {false, true}) {
        TestServer server(tls);
        server.add("/", new EchoHandler(&calls));
        const HttpReply reply =
            RawClient::request(server.port(), "GET", "/", "Host: other\r\n", {}, tls);
        QCOMPARE(reply.status, 400);
        QCOMPARE(reply.body, QByteArray("The request names its host more than once.\n"));
        QCOMPARE(reply.header("Connection"), QByteArray("close"));
        QCOMPARE(reply.header("X-Robots-Tag"), QByteArray("noindex"));
    }
    QCOMPARE(calls, 0);
}

void TestMalformed::bodyIsLimited_data() {
    QTest::addColumn<QByteArray>("head");
    QTest::addColumn<int>("mebibytes");
    QTest::addColumn<int>("status");
    const QByteArray post = "POST / HTTP/1.1\r\n" + host;
    QTest::newRow("the most") << post + "Content-Length: 16777216\r\n\r\n" << 16 << 200;
    QTest::newRow("more, only said") << post + "Content-Length: 16777217\r\n\r\n" << 0 << 413;
    QTest::newRow("more, asked before")
        << post + "Expect: 100-continue\r\nContent-Length: 99999999\r\n\r\n"
        << 0 << 413;
    QTest::newRow("more, sent") << post + "Content-Length: 134217728\r\n\r\n" << 128 << 413;
    QTest::newRow("chunks without end") << post + "Transfer-Encoding: chunked\r\n\r\n"
                                        << 128 << 413;
    QTest::newRow("nobody's path")
        << "POST * HTTP/1.1\r\n" + host + "Content-Length: 134217728\r\n\r\n"
        << 128 << 413;
}

void TestMalformed::bodyIsLimited() {
    QFETCH(QByteArray, head);
    QFETCH(int, mebibytes);
    int calls = 0;
    TestServer server;
    server.add("/", new EchoHandler(&calls));
    const QByteArray mebibyte(1024 * 1024, 'x');
    const bool chunks = head.contains("chunked");
    RawClient client(server.port());
    [[maybe_unused]] const qint64 before = residentBytes();
    client.send(head);
    for (int i = 0; i < mebibytes && client.isConnected(); ++i) {
        client.send(chunks ? "100000\r\n" + mebibyte + "\r\n" : mebibyte);
        // The client's own buffer does not count.
        QTRY_VERIFY(client.socket().bytesToWrite() < mebibyte.size() || !client.isConnected());
    }
#ifndef __SANITIZE_ADDRESS__ // which keeps what is freed for a while
    QVERIFY(residentBytes() - before < 64 * mebibyte.size());
#endif
    const HttpReply reply = client.readReply();
    QTEST(reply.status, "status");
    QCOMPARE(calls, reply.status == 200 ? 1 : 0);
    if (reply.status != 200)
        QVERIFY(client.waitForClose() || client.readToEnd().isEmpty());
}

void TestMalformed::rangesAreNotCutFromMemory() {
    int calls = 0;
    TestServer server;
    server.add("/", new EchoHandler(&calls));
    for (const QByteArray range : {"bytes=0-0", "bytes=-99999999", "bytes=0-0,0-0", "bytes=9-"}) {
        const HttpReply reply = RawClient::get(server.port(), "/", "Range: " + range + "\r\n");
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.body, QByteArray("."));
    }
}

QTEST_GUILESS_MAIN(TestMalformed)
#include "test_malformed.moc"
