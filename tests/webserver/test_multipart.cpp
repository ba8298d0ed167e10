#include "handlers/multiparthandler.h"
#include "handlers/multipartsplitter.h"
#include "message.h"
#include "multipartbody.h"
#include "responders/multipartresponder.h"
#include "responders/multipartresponderfactory.h"
#include "testdevice.h"

#include <QTest>

namespace {

// The header block and the content of one part after the other.
using Parts = QByteArrayList;

const QByteArray lines = "\r\nA: b\r\n\r\n";
const QByteArray firstLines = "\r\n--XyZ" + lines;

// Splits a body that comes in these pieces, one step for each and the rest at the end.
Parts split(const QByteArrayList& pieces) {
    Parts parts;
    MultipartSplitter splitter(
        "\r\n--XyZ",
        [&](const QByteArray& header) {
            parts += Parts{header, ""};
        },
        [&](const char* data, unsigned size) { parts.last() += QByteArray(data, int(size)); });
    for (const QByteArray& piece : pieces) {
        splitter.append(piece.constData(), unsigned(piece.size()));
        splitter.step(false);
    }
    while (splitter.step(true) > 0) {
    }
    return parts;
}

struct Upload {
    Parts parts;
    int finished = 0;
    int status = 0; // set when it finishes
} upload;

class RecordingResponder : public MultipartResponder {
public:
    RecordingResponder(Request& request, const QString& documentRoot, Message* message, Server*)
        : MultipartResponder(request, documentRoot, nullptr), m_message(message) {}
    void respond() override {}
    void newPart(const QByteArray& header) override { upload.parts += Parts{header, ""}; }
    void partData(const char* data, unsigned size) override {
        upload.parts.last() += QByteArray(data, int(size));
    }
    void finish() override {
        ++upload.finished;
        if (upload.status)
            m_message->setStatus(upload.status, QString());
    }

private:
    Message* m_message;
};

// Answers with what has arrived by then.
class CountingHandler : public Handler {
public:
    using Handler::Handler;
    void handle(Message* message) override {
        message->setStatus(200, QString());
        message->setResponseBody(QByteArray::number(upload.parts.size() / 2) + " parts, body " +
                                     QByteArray::number(message->requestBody().size()),
                                 "text/plain");
    }
};

class UploadServer : public TestServer {
public:
    UploadServer() {
        upload = Upload();
        add("/", new CountingHandler(QString(), nullptr));
        addEarly("/", new MultipartHandler(new DefaultMultipartResponderFactory<RecordingResponder>,
                                           QString(), &server(), nullptr));
    }
};

} // namespace

class TestMultipart : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everySplit_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<Parts>("parts");
        const QByteArray near = "\r\n--Xy\r\n--X\r\n--xyZ--XyZ--\r\r\n-\r\n--Xy";
        const QByteArray binary("\r\n\r\n\0\r\n\r\n", 9);
        QTest::newRow("two parts") << multipartBody({QByteArray(40, 'a'), "beta"})
                                   << Parts{firstLines, QByteArray(40, 'a'), lines, "beta"};
        QTest::newRow("near delimiters") << multipartBody({near, "\r\n" + near + "\r\n"})
                                         << Parts{firstLines, near, lines, "\r\n" + near + "\r\n"};
        QTest::newRow("empty contents") << multipartBody({"", "", "x"})
                                        << Parts{firstLines, "", firstLines, "", firstLines, "x"};
        QTest::newRow("empty lines and NUL bytes in the content")
            << multipartBody({binary, "--"}) << Parts{firstLines, binary, lines, "--"};
        QTest::newRow("preamble and epilogue")
            << "before\r\n" + multipartBody({"alpha"}) + "\r\n\r\n--XyZ\r\n\r\nafter"
            << Parts{lines, "alpha"};
        QTest::newRow("no headers") << QByteArray("--XyZ\r\n\r\na\r\n--XyZ\r\n\r\nb\r\n--XyZ--")
                                    << Parts{"\r\n--XyZ\r\n\r\n", "a", "\r\n\r\n", "b"};
        QTest::newRow("not closed")
            << "--XyZ" + lines + "alpha\r\n--Xy" << Parts{firstLines, "alpha\r\n--Xy"};
        QTest::newRow("header block without its end")
            << QByteArray("--XyZ\r\nA: b\r\nalpha\r\n--XyZ--\r\n") << Parts{};
        QTest::newRow("NUL byte in the header block")
            << "--XyZ\r\nA: " + QByteArray(1, '\0') + "\r\n\r\nalpha\r\n--XyZ--\r\n"
            << Parts{};
        QTest::newRow("another boundary") << QByteArray("--Xy" + lines + "a\r\n--Xy--") << Parts{};
        QTest::newRow("no parts") << QByteArray("--XyZ--\r\n\r\n") << Parts{};
    }
    void everySplit() {
        QFETCH(QByteArray, body);
        QFETCH(Parts, parts);
        QByteArrayList bytes;
        for (int i = 0; i < body.size(); ++i)
            bytes.append(body.mid(i, 1));
        QCOMPARE(split(bytes), parts);
        for (int i = 0; i < body.size(); ++i) {
            for (int j = i; j < body.size(); ++j)
                QCOMPARE(split({body.left(i), body.mid(i, j - i), body.mid(j)}), parts);
        }
    }

    void endlessHeaderIsNotKept() {
        MultipartSplitter splitter("\r\n--XyZ", [](const QByteArray&) { QFAIL("no part"); }, {});
        splitter.append("--XyZ\r\n", 7);
        for (int i = 0; i < 100; ++i) {
            splitter.append(QByteArray(1024, 'x').constData(), 1024);
            splitter.step(false);
            QVERIFY(splitter.size() < 2 * MultipartSplitter::maximumHeaderSize);
        }
    }

    void uploads_data() {
        QTest::addColumn<QByteArray>("headers");
        QTest::addColumn<int>("size");
        QTest::newRow("whole in one chunk") << QByteArray() << 10;
        QTest::newRow("large") << QByteArray() << 300000;
        QTest::newRow("chunked") << QByteArray("Transfer-Encoding: chunked\r\n") << 20000;
        QTest::newRow("waiting for 100 Continue") << QByteArray("Expect: 100-continue\r\n") << 9999;
    }
    void uploads() {
        QFETCH(QByteArray, headers);
        QFETCH(int, size);
        const UploadServer server;
        const QByteArray content(size, 'x');
        const QByteArray body = multipartBody({content, "second"});
        const bool chunked = headers.startsWith("Transfer");
        if (!chunked)
            headers += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
        RawClient client(server.port());
        client.send("POST /form HTTP/1.1\r\nHost: localhost\r\n" + multipartType + headers +
                    "\r\n");
        if (headers.startsWith("Expect"))
            QCOMPARE(client.readReply().status, 100);
        client.send(chunked ? QByteArray::number(body.size(), 16) + "\r\n" + body + "\r\n0\r\n\r\n"
                            : body);
        // The page is made when the parts have arrived, and sees no body.
        QCOMPARE(client.readReply().body, QByteArray("2 parts, body 0"));
        QCOMPARE(upload.parts, (Parts{firstLines, content, lines, "second"}));
        QCOMPARE(upload.finished, 1);
    }

    void badTypes() {
        // A boundary is taken as it stands, with the quotes.
        for (const QByteArray type : {"form-data", "form-data; boundary=",
                                      "form-data; boundary=\"XyZ\"", "mixed; boundary=XyZ"}) {
            const UploadServer server;
            const HttpReply reply = RawClient::request(server.port(), "POST", "/form",
                                                       "Content-Type: multipart/" + type + "\r\n",
                                                       multipartBody({"alpha"}));
            QCOMPARE(reply.status, 200);
            QTRY_COMPARE(upload.finished, type.startsWith("form") ? 1 : 0);
            QCOMPARE(upload.parts, Parts());
        }
    }

    void statusOfTheResponderIsTheAnswer() {
        const UploadServer server;
        upload.status = 422;
        RawClient client(server.port());
        client.send(RawClient::requestBytes("POST", "/", multipartType, multipartBody({"alpha"})));
        QCOMPARE(client.readReply().status, 422);
        client.send("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
        QCOMPARE(client.readReply().status, 200);
    }

    void manySmallParts() {
        const UploadServer server;
        const QByteArray body = multipartBody(QByteArray("x,").repeated(20000).split(','));
        QCOMPARE(RawClient::request(server.port(), "POST", "/", multipartType, body).body,
                 QByteArray("20001 parts, body 0"));
    }
};

QTEST_GUILESS_MAIN(TestMultipart)
#include "test_multipart.moc"
