// SPDX-License-Identifier: MIT
#include "connection/requestframing.h"
#include "table.h"

#include <QRandomGenerator>
#include <QTest>

namespace {

// Behaviour, the status of the refusal or what is passed on (requests are separated by ^), and what
// comes: ~ stands for CR LF; CR, LF, TAB, SP, NUL, DEL and HIGH for such bytes; LARGE, HEADERS and
// the like for what is too long to be written here.
const char heads[] = R"(
plain                   |GET /a?b#c HTTP/1.1~Host: a~X: a  b~Connection: close~~|GET /a?b#c HTTP/1.1~Host: a~X: a  b~~
HTTP/1.0                |GET / HTTP/1.0~Connection: close~~|GET / HTTP/1.0~Connection: keep-alive~~
later minor version     |GET / HTTP/1.1~Host: a~Connection: close~~|GET / HTTP/1.9~Host: a~~
any method              |a!b / HTTP/1.1~Host: a~Connection: close~~|a!b / HTTP/1.1~Host: a~~
bytes beyond ASCII      |GET /HIGH%zz HTTP/1.1~Host: a~X: HIGH~Connection: close~~|GET /HIGH%zz HTTP/1.1~Host: a~X: HIGH~~
empty lines before      |GET / HTTP/1.1~Host: a~Connection: close~~|~~GET / HTTP/1.1~Host: a~~
too many empty lines    |400|~~~~~~~~~GET / HTTP/1.1~Host: a~~
bare CR before          |400|CRGET / HTTP/1.1~Host: a~~
bare LF before          |400|LFGET / HTTP/1.1~Host: a~~
bare LF in the head     |400|GET / HTTP/1.1~X: aLFHost: a~~
bare CR in a value      |400|GET / HTTP/1.1~Host: a~X: aCRb~~
bare CR at the end      |400|GET / HTTP/1.1~Host: a~CRCRLF
NUL in a value          |400|GET / HTTP/1.1~Host: a~X: aNULb~~
DEL in the target       |400|GET /DEL HTTP/1.1~Host: a~~
no method               |400|SP/ HTTP/1.1~Host: a~~
method is no token      |400|G(T / HTTP/1.1~Host: a~~
two spaces              |400|GET  / HTTP/1.1~Host: a~~
tab for a space         |400|GET /TAB HTTP/1.1~Host: a~~
only a word             |400|GET~~
no version              |400|GET /~Host: a~~
after the version       |400|GET / HTTP/1.1 x~Host: a~~
long version            |400|GET / HTTP/1.01~Host: a~~
small version           |400|GET / http/1.1~Host: a~~
version 2               |505|PRI * HTTP/2.0~~SM~~
CONNECT                 |405|CONNECT a:80 HTTP/1.1~Host: a~~
connect is no CONNECT   |connect / HTTP/1.1~Host: a~Connection: close~~|connect / HTTP/1.1~Host: a~~
relative path           |400|GET index.html HTTP/1.1~Host: a~~
asterisk                |OPTIONS * HTTP/1.1~Host: a~Connection: close~~|OPTIONS * HTTP/1.1~Host: a~~
asterisk without OPTIONS|400|GET * HTTP/1.1~Host: a~~
absolute                |GET /x?y HTTP/1.1~Host: a~Connection: close~~|GET HTTP://A:80/x?y HTTP/1.1~Host: a~~
absolute, only a query  |GET /?y HTTP/1.1~Host: a~Connection: close~~|GET http://a?y HTTP/1.1~Host: a~~
absolute, no path       |GET / HTTP/1.0~Host: a:80~Connection: close~~|GET http://a HTTP/1.0~Host: a:80~~
absolute, address       |GET / HTTP/1.1~Host: [::1]:8080~Connection: close~~|GET http://[::1]:8080/ HTTP/1.1~Host: [::1]:8080~~
absolute, other host    |400|GET http://b/ HTTP/1.1~Host: a~~
absolute, other port    |400|GET http://a:81/ HTTP/1.1~Host: a~~
absolute, no port       |400|GET http://a:x/ HTTP/1.1~Host: a:x~~
absolute, other scheme  |400|GET https://a/ HTTP/1.1~Host: a~~
absolute, a user        |400|GET http://a@a/ HTTP/1.1~Host: a~~
absolute, no host       |400|GET http:/// HTTP/1.1~Host: ~~
absolute without Host   |400|GET http://a/ HTTP/1.0~~
absolute, a fragment    |400|GET http://a#b HTTP/1.1~Host: a~~
no Host                 |400|GET / HTTP/1.1~~
two Hosts               |400|GET / HTTP/1.0~Host: a~Host: a~~
Host with a path        |400|GET / HTTP/1.1~Host: a/x~~
list of Hosts           |400|GET / HTTP/1.1~Host: a,b~~
Host with blanks around |GET / HTTP/1.1~Host:TAB a TAB~Connection: close~~|GET / HTTP/1.1~Host:TAB a TAB~~
empty Host              |GET http://localhost/x HTTP/1.1~Host:~Connection: close~~|GET /x HTTP/1.1~Host:~~
Host that is no URI's   |GET http://localhost/x?y HTTP/1.1~Host: [fe80::1~Connection: close~~|GET /x?y HTTP/1.1~Host: [fe80::1~~
Host with no port       |GET http://localhost/ HTTP/1.1~Host: a:b~Connection: close~~|GET / HTTP/1.1~Host: a:b~~
Host, port too large    |GET http://localhost/ HTTP/1.1~Host: a:65536~Connection: close~~|GET / HTTP/1.1~Host: a:65536~~
space before the colon  |400|GET / HTTP/1.1~Host: a~Content-Length : 5~~
empty name              |400|GET / HTTP/1.1~Host: a~: x~~
no colon                |400|GET / HTTP/1.1~Host: a~nonsense~~
folded header           |400|GET / HTTP/1.1~Host: a~X: a~ b~~
folded first header     |400|GET / HTTP/1.1~ X: a~Host: a~~
the most headers        |GET / HTTP/1.1~Host: a~HEADERSConnection: close~~|GET / HTTP/1.1~Host: a~HEADERS~
one header more         |431|GET / HTTP/1.1~Host: a~HEADERSa: b~~
line without end        |431|GET / HTTP/1.1~Host: a~X: LARGE
target without end      |431|GET /LARGE
head too large          |431|GET / HTTP/1.1~Host: a~X: LARGE~~
many options            |431|GET / HTTP/1.1~Host: a~Connection: OPTIONS~~
for one connection only |GET / HTTP/1.1~Host: a~X: y~Connection: close~~|GET / HTTP/1.1~TE: trailers~Host: a~Keep-Alive: x~Upgrade: x~Connection: te, z,~Z: y~X: y~Trailer: x~HTTP2-Settings: x~Proxy-Connection: x~~
Connection names Host   |GET / HTTP/1.1~Host: a~Connection: close~~|GET / HTTP/1.1~Host: a~Connection: host~~
no body, no expectation |GET / HTTP/1.1~Host: a~Connection: close~~|GET / HTTP/1.1~Host: a~Expect: 100-continue~~
expectation             |PUT / HTTP/1.1~Host: a~Expect: 100-Continue~Content-Length: 1~Connection: close~~x|PUT / HTTP/1.1~Host: a~Expect: 100-Continue~Content-Length: 1~~x
expectation in HTTP/1.0 |PUT / HTTP/1.0~Content-Length: 1~Connection: close~~x|PUT / HTTP/1.0~Expect: 100-continue~Content-Length: 1~~x
other expectation       |417|GET / HTTP/1.1~Host: a~Expect: more~~
same length twice       |POST / HTTP/1.1~Host: a~Content-Length: 3~Connection: close~~abc|POST / HTTP/1.1~Host: a~Content-Length: 3~Content-length: 03~~abc
two lengths             |400|POST / HTTP/1.1~Host: a~Content-Length: 3~Content-Length: 4~~abcd
list of lengths         |400|POST / HTTP/1.1~Host: a~Content-Length: 3, 3~~abc
signed length           |400|POST / HTTP/1.1~Host: a~Content-Length: +3~~abc
empty length            |400|POST / HTTP/1.1~Host: a~Content-Length:~~
largest length          |400|POST / HTTP/1.1~Host: a~Content-Length: 9223372036854775807~~
length beyond 63 bits   |400|POST / HTTP/1.1~Host: a~Content-Length: 9223372036854775808~~
length and encoding     |400|POST / HTTP/1.1~Host: a~Content-Length: 3~Transfer-Encoding: chunked~~0~~
encoding and length     |400|POST / HTTP/1.1~Host: a~Transfer-Encoding: chunked~Content-Length: 3~~0~~
two encodings           |400|POST / HTTP/1.1~Host: a~Transfer-Encoding: chunked~Transfer-Encoding: chunked~~0~~
list of encodings       |501|POST / HTTP/1.1~Host: a~Transfer-Encoding: chunked, chunked~~0~~
unknown encoding        |501|POST / HTTP/1.1~Host: a~Transfer-Encoding: chunkedx~~0~~
chunks in HTTP/1.0      |400|POST / HTTP/1.0~Host: a~Transfer-Encoding: chunked~~0~~
encoding in capitals    |POST / HTTP/1.1~Host: a~Transfer-Encoding: Chunked~Connection: close~~0~~|POST / HTTP/1.1~Host: a~Transfer-Encoding: Chunked~~0~~
end within the head     |400|GET / HTTP/1.1~Host: a~
end within the body     |400|POST / HTTP/1.1~Host: a~Content-Length: 3~~ab
pipelined               |GET /1 HTTP/1.1~Host: a~Connection: close~~^POST / HTTP/1.1~Host: a~Content-Length: 2~Connection: close~~ab^POST / HTTP/1.1~Host: a~Transfer-Encoding: chunked~Connection: close~~1~c~0~~^GET /2 HTTP/1.1~Host: a~Connection: close~~|GET /1 HTTP/1.1~Host: a~~POST / HTTP/1.1~Host: a~Content-Length: 2~~abPOST / HTTP/1.1~Host: a~Transfer-Encoding: chunked~~1~c~0~~~GET /2 HTTP/1.1~Host: a~~
)";

// The same for what follows the head of a chunked body.
const char chunks[] = R"(
sizes                  |3~abc~1a~abcdefghijklmnopqrstuvwxyz~0~~|03~abc~1A~abcdefghijklmnopqrstuvwxyz~000~~
data with line ends    |4~~~~0~~|4~~~~0~~
extensions             |1~x~0~~|1;a="b"TAB;HIGH~x~0TAB ;~~
trailer fields         |0~~|0~X: y~Z:~~
byte by byte           |TINY0~~|TINY0~~
no size                |400|~abc~0~~
prefix                 |400|0x1a~abc~0~~
signed size            |400|+1a~abc~0~~
space after the size   |400|1 ~a~0~~
space within the size  |400|1 1~a~0~~
17 digits              |400|00000000000000001~a~0~~
size beyond 63 bits    |400|8000000000000000~a
bare LF after the size |400|1LFa~0~~
bare CR in extension   |400|1;aCRb~a~0~~
NUL in extension       |400|1;NUL~a~0~~
data longer than said  |400|1~ab~0~~
bare LF after the data |400|1~aLF0~~
data without line end   |400|1~abc0~~
long extension         |400|1;LARGE~a~0~~
extensions of bytes    |400|PADDED0~~
extensions of the rest |400|WIDE0~~
trailer without colon  |400|0~X~~
folded trailer         |400|0~X: y~ z~~
length in the trailer  |400|0~content-length: 3~~
encoding in the trailer|400|0~Transfer-Encoding: chunked~~
bare LF in the trailer |400|0~X: yLF~
large trailer          |400|0~X: LARGE~~
many trailer fields    |400|0~HEADERSa: b~a: b~~
end within the trailer |400|0~X: y~
end before the last    |400|1~a~
)";

QByteArray bytesOf(QByteArray text) {
    return text.replace("HEADERS", QByteArray("a: b~").repeated(99))
        .replace("OPTIONS~", QByteArray("a,").repeated(33) + '~')
        .replace("TINY", QByteArray("1~x~").repeated(20000))
        .replace("PADDED", QByteArray("1;" + QByteArray(40, 'x') + "~x~").repeated(1000))
        .replace("WIDE",
                 QByteArray("800;" + QByteArray(4000, 'x') + '~' + QByteArray(2048, 'x') + '~')
                     .repeated(5))
        .replace("LARGE", QByteArray(1 << 16, 'a'))
        .replace("SP", " ")
        .replace("NUL", QByteArray(1, '\0'))
        .replace("DEL", "\x7f")
        .replace("TAB", "\t")
        .replace("HIGH", "\xc3\xbc\xff")
        .replace("CR", "\r")
        .replace("LF", "\n")
        .replace("~", "\r\n");
}

struct Outcome {
    int status = 0;
    QByteArray vetted;

    bool operator==(const Outcome& other) const {
        return status == other.status && vetted == other.vetted;
    }
};

// Gives the bytes in pieces of random sizes up to `maxPiece`, and then their end.
Outcome outcomeOf(const QByteArray& bytes, int maxPiece) {
    using Phase = RequestFraming::Phase;
    RequestFraming framing(false);
    std::string vetted;
    const std::string_view all(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    std::size_t end = 0;
    for (std::size_t taken = 0; taken < all.size() && framing.phase() != Phase::Refused;) {
        if (end == taken)
            end += static_cast<std::size_t>(1 + QRandomGenerator::global()->bounded(maxPiece));
        if (framing.phase() == Phase::Complete) {
            vetted += '^';
            framing.next();
        }
        const std::size_t before = vetted.size();
        taken += framing.take(all.substr(taken, end - taken), vetted);
        if (framing.phase() == Phase::Head && vetted.size() != before)
            return {-1, "passed on too early"};
    }
    framing.takeEnd();
    return {framing.refusal().status, QByteArray::fromStdString(vetted)};
}

std::size_t takeAll(RequestFraming& framing, const QByteArray& bytes, std::string& vetted) {
    return framing.take({bytes.constData(), static_cast<std::size_t>(bytes.size())}, vetted);
}

} // namespace

// Which bytes of a connection the engine gets to see, and which requests it never hears of.
class TestRequestFraming : public QObject {
    Q_OBJECT

    static void check(const QByteArray& expected, const QByteArray& head, const QByteArray& rest) {
        const QByteArray bytes = head + rest;
        const Outcome whole = outcomeOf(bytes, 1);
        const int status = expected.toInt();
        QCOMPARE(whole.status, status);
        if (status == 0)
            QCOMPARE(whole.vetted, bytesOf(expected));
        else if (head.isEmpty() && !bytes.contains("\r\n\r\n"))
            QVERIFY(whole.vetted.isEmpty());
        for (const int maxPiece : {2, 7, 100, 5000, 1 << 30})
            QVERIFY(outcomeOf(bytes, maxPiece) == whole);
    }

private Q_SLOTS:
    void head_data() { addRows(heads); }
    void head() {
        QFETCH(const QByteArrayList, fields);
        check(fields[0], {}, bytesOf(fields[1]));
    }

    void body_data() { addRows(chunks); }
    void body() {
        QFETCH(const QByteArrayList, fields);
        const QByteArray head = "POST / HTTP/1.1~Host: a~Transfer-Encoding: chunked~";
        const bool isRefused = fields[0].toInt() > 0;
        check((isRefused ? QByteArray() : head + "Connection: close~~") + fields[0],
              bytesOf(head + '~'), bytesOf(fields[1]));
    }

    // What the connection asks about a request: HTTP/1.1, HEAD, keeps alive, body, length.
    void facts_data() {
        addRows(R"(
plain           |1 0 1 0 0 |GET / HTTP/1.1~Host: a~~
HEAD            |1 1 1 0 0 |HEAD / HTTP/1.1~Host: a~~
closes          |1 0 0 0 0 |GET / HTTP/1.1~Host: a~Connection: x, CLOSE~~
HTTP/1.0        |0 0 0 0 0 |GET / HTTP/1.0~Connection: keep-alive~~
length          |1 0 1 1 3 |POST / HTTP/1.1~Host: a~Content-Length: 3~~
length of 0     |1 0 1 0 0 |POST / HTTP/1.1~Host: a~Content-Length: 0~~
chunks          |1 0 1 1 -1|POST / HTTP/1.1~Host: a~Transfer-Encoding: chunked~~
)");
    }
    void facts() {
        QFETCH(const QByteArrayList, fields);
        RequestFraming framing(false);
        std::string vetted;
        const QByteArray head = bytesOf(fields[1]);
        QCOMPARE(takeAll(framing, head + "3\r\n", vetted), std::size_t(head.size()));
        const QByteArray facts = QByteArray::number(framing.isHttp11()) + ' ' +
                                 QByteArray::number(framing.isHead()) + ' ' +
                                 QByteArray::number(framing.keepsAlive()) + ' ' +
                                 QByteArray::number(framing.hasBody()) + ' ' +
                                 QByteArray::number(qint64(framing.contentLength()));
        QCOMPARE(facts, fields[0]);
        QCOMPARE(framing.phase() == RequestFraming::Phase::Body, framing.hasBody());
    }

    void overTls() {
        for (const char* scheme : {"http", "https"}) {
            RequestFraming framing(true);
            std::string vetted;
            takeAll(framing, QByteArray("GET ") + scheme + "://a/ HTTP/1.1\r\nHost: a:443\r\n\r\n",
                    vetted);
            QCOMPARE(framing.refusal().status, strlen(scheme) == 4 ? 400 : 0);
        }
    }

    void idleUntilARequestBegins() {
        RequestFraming framing(false);
        std::string vetted;
        takeAll(framing, "\r\n\r", vetted);
        framing.takeEnd();
        QVERIFY(framing.isIdle());
        takeAll(framing, "\nGET", vetted);
        QVERIFY(!framing.isIdle());
        QCOMPARE(framing.headBytes(), std::size_t(3));
        takeAll(framing, " / HTTP/1.0\r\n\r\n", vetted);
        QCOMPARE(framing.headBytes(), std::size_t(0));
        QCOMPARE(takeAll(framing, "GET", vetted), std::size_t(0));
        framing.next();
        QVERIFY(framing.isIdle());
    }
};

QTEST_APPLESS_MAIN(TestRequestFraming)
#include "test_requestframing.moc"
