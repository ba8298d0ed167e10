#include "message.h"
#include "rawclient.h"
#include "table.h"
#include "testdevice.h"

#include <QTest>

namespace {

// Behaviour, status (0: no answer), and what is sent: ~ stands for CR LF, words in capitals for
// what `expanded` says. Only what is answered with 200 has reached a handler.
const char requests[] = R"(
empty lines before     |200|~~GET / HTTP/1.1~HOST~
no version             |400|GET /~~
version 2              |505|PRI * HTTP/2.0~~SM~~
after the version      |400|GET / HTTP/1.1 x~HOST~
NUL in the method      |400|GNULT / HTTP/1.1~HOST~
relative path          |400|GET index.html HTTP/1.1~HOST~
CONNECT                |405|CONNECT localhost:80 HTTP/1.1~HOST~
CONNECT to a path      |405|CONNECT / HTTP/1.1~HOST~
no Host                |400|GET / HTTP/1.1~~
two Hosts              |400|GET / HTTP/1.1~HOSTHost: device~~
space before the colon |400|GET / HTTP/1.1~Host : localhost~~
Host with a path       |400|GET / HTTP/1.1~Host: localhost/x~~
absolute URI           |200|GET http://localhost/ HTTP/1.1~HOST~
absolute URI with port |200|GET http://[::1]:8080/ HTTP/1.1~Host: [::1]:8080~~
URI of another host    |400|GET http://example.com/ HTTP/1.1~HOST~
URI of another port    |400|GET http://localhost:81/ HTTP/1.1~HOST~
URI of another scheme  |400|GET ftp://localhost/ HTTP/1.1~HOST~
folded header          |400|GET / HTTP/1.1~HOSTX: a~ b~~
no colon               |400|GET / HTTP/1.1~HOSTnonsense~~
NUL in a value         |400|GET / HTTP/1.1~HOSTX: aNULb~~
the most headers       |200|GET / HTTP/1.1~HOSTHEADERS~
one header more        |431|GET / HTTP/1.1~HOSTHEADERSa: b~~
line without end       |431|GET / HTTP/1.1~HOSTMEGABYTE
unknown expectation    |417|POST: 1~Expect: more~~x
the same length twice  |200|POST: 3~Content-Length: 3~~abc
two lengths            |400|POST: 3~Content-Length: 4~~abcd
list of lengths        |400|POST: 3, 3~~abc
negative length        |400|POST: -1~~abc
signed length          |400|POST: +3~~abc
length beyond 64 bits  |400|POST: 99999999999999999999~~abc
length and encoding    |400|POST: 3~Transfer-Encoding: chunked~~0~~
encoding and length    |400|CHUNKED~Content-Length: 3~~0~~
two encodings          |400|CHUNKED~Transfer-Encoding: chunked~~0~~
list of encodings      |501|CHUNKED, chunked~~0~~
unknown encoding       |501|CHUNKEDx~~0~~
chunks                 |200|CHUNKED~~3~abc~0~~
chunk extension        |200|CHUNKED~~3;a=b~abc~0~~
trailers               |200|CHUNKED~~0~X: y~Z: y~~
chunk size overflow    |400|CHUNKED~~fffffffffffffffff~abc~
long chunk extension   |400|CHUNKED~~3;MEGABYTE
)";

QByteArray expanded(QByteArray text) {
    return text.replace("POST", "POST / HTTP/1.1~HOSTContent-Length")
        .replace("CHUNKED", "POST / HTTP/1.1~HOSTTransfer-Encoding: chunked")
        .replace("HOST", "Host: localhost~")
        .replace("HEADERS", QByteArray("a: b~").repeated(99))
        .replace("MEGABYTE", QByteArray(1 << 20, 'a'))
        .replace("NUL", QByteArray(1, '\0'))
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
        const QByteArray bytes = expanded(fields[1]);
        EchoServer server;
        RawClient client(server.port());
        client.send(bytes);
        const HttpReply reply = client.readReply();
        QCOMPARE(reply.status, status);
        QCOMPARE(reply.header("X-Robots-Tag"), status > 0 ? QByteArray("noindex") : QByteArray());
        QCOMPARE(server.calls, status == 200 ? 1 : 0);
        if (status == 200) {
            client.send(RawClient::requestBytes("GET", "/"));
            QCOMPARE(client.readReply().status, 200);
        } else {
            QVERIFY(client.readToEnd(2000).isEmpty());
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
        addRows(R"(
the most           |200|POST: 1048576~~  |1
more, only said    |413|POST: 1048577~~  |0
more, sent         |413|POST: 134217728~~|128
chunks without end |413|CHUNKED~~        |128
chunks of a byte   |413|CHUNKED~~        |2
)");
    }
    void bodyIsLimited() {
        QFETCH(const QByteArrayList, fields);
        const QByteArray head = expanded(fields[1]);
        EchoServer server;
        const QByteArray mebibyte(1024 * 1024, 'x');
        const bool chunks = head.contains("chunked");
        const QByteArray piece = QByteArray(QTest::currentDataTag()).endsWith("byte")
                                     ? QByteArray("1\r\nx\r\n").repeated(100000)
                                 : chunks ? "100000\r\n" + mebibyte + "\r\n"
                                          : mebibyte;
        RawClient client(server.port());
        [[maybe_unused]] const qint64 before = residentBytes();
        client.send(head);
        for (int i = 0; i < fields[2].toInt() && client.isConnected(); ++i) {
            client.send(piece);
            // The client's own buffer does not count.
            QTRY_VERIFY(client.socket().bytesToWrite() < mebibyte.size() || !client.isConnected());
        }
#ifndef __SANITIZE_ADDRESS__ // which keeps what is freed for a while
        QVERIFY(residentBytes() - before < 16 * mebibyte.size());
#endif
        const HttpReply reply = client.readReply();
        QCOMPARE(reply.status, fields[0].toInt());
        QCOMPARE(server.calls, reply.status == 200 ? 1 : 0);
        if (reply.status != 200)
            QVERIFY(client.waitForClose() || client.readToEnd().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestMalformed)
#include "test_malformed.moc"
