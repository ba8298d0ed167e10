// SPDX-License-Identifier: MIT
#include "handlers/matchhandler.h"
#include "handlers/responderhandler.h"
#include "rawclient.h"
#include "request.h"
#include "responders/responder.h"
#include "responders/responderfactory.h"
#include "servermessagedevice.h"
#include "testdevice.h"

#include <QSignalSpy>
#include <QTest>

namespace {

// A responder that does nothing by itself, and that the test reaches.
class TestResponder : public Responder {
public:
    using List = QList<QPointer<TestResponder>>;

    TestResponder(Request& request, const QString& documentRoot, List* made)
        : Responder(request, documentRoot, nullptr) {
        made->append(this);
    }
    bool respondWillBlock() override { return false; }
    void respond() override {}
    void write(const QString& text) {
        out << text;
        out.flush();
    }
    void finish() { Q_EMIT finished(request().requestId()); }
    using Responder::request;
};

struct RespondingServer : TestServer {
    TestResponder::List made;
    ResponderHandler* handler =
        new ResponderHandler(makeDefaultResponderFactory<TestResponder>(&made), QString(), nullptr);

    RespondingServer() { add("/", handler); }
};

const QByteArray get = RawClient::requestBytes("GET", "/");

} // namespace

class TestExchange : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void onlyLocalHostsAreServed() {
        TestServer server;
        server.add("/", new Handler(QString(), nullptr));
        for (const char* language : {"de\r\nX: y", "de"}) {
            server.server().setLanguage(language);
            QCOMPARE(RawClient::get(server.port(), "/", "Accept-Language: fr\r\n")
                         .header("Content-Language"),
                     QByteArray(language).size() == 2 ? language : QByteArray());
        }
        const auto status = [&](const char* host) {
            RawClient client(server.port());
            client.send(QByteArray("GET /\xff%ff%00?a=%ff%00 HTTP/1.1\r\nHost: ") + host +
                        "\r\n\r\n");
            const HttpReply reply = client.readReply();
            return reply.header("X-Robots-Tag") == "noindex" ? reply.status : 0;
        };
        for (const char* host : {"192.168.1.20", "192.168.1.20:81", "[::1]", "[fe80::1]:80",
                                 "localhost", "localhost.:8080", "localhost.localdomain",
                                 "LOCALHOST", "printer.local.:80", "device", "notlocal"})
            QVERIFY2(status(host) == 404, host);
        for (const char* host : {"[example.com]:80", "printer.LOCAL", "example.com",
                                 "localhost.example", "192.168.1.20.example.com"})
            QVERIFY2(status(host) == 403, host);
        RawClient upload(server.port());
        upload.send("POST / HTTP/1.1\r\nHost: example.com\r\n"
                    "Content-Type: multipart/form-data\r\n\r\n");
        QCOMPARE(upload.readReply().status, 403);
    }

    void firstMatchWins() {
        TestServer server;
        auto* match = new MatchHandler(QString(), nullptr);
        const auto answer = [](int status) {
            return new FunctionHandler([=](Message* message) { message->setStatus(status, {}); });
        };
        match->addHandler(QStringLiteral("*.fcgi"), answer(201));
        match->addHandler(QRegExp("/a/[0-9]+"), answer(202));
        match->addHandler(answer(203));
        match->addHandler(QStringLiteral("/hidden"), answer(206));
        server.add("/", match);
        for (const auto& [path, status] :
             {std::pair("/a/b.fcgi?y=1", 201), std::pair("/a.FCGI", 203), std::pair("/a/12", 202),
              std::pair("/a/12/", 203), std::pair("/x/%2e.fcgi", 201), std::pair("/hidden", 203)})
            QVERIFY2(RawClient::get(server.port(), path).status == status, path);
    }

    void responderStreamsChunks() {
        RespondingServer server;
        RawClient client(server.port());
        client.send(get);
        QTRY_COMPARE(server.made.size(), 1);
        TestResponder* responder = server.made[0];
        responder->request().setStatus(200, QString());
        responder->write(QString(3000, 'x'));
        QVERIFY(client.read(1).startsWith("H"));
        responder->write("grün");
        responder->finish();
        responder->finish();
        QTRY_VERIFY(!server.made[0]);
        client.halfClose();
        const QByteArray rest = client.readToEnd();
        const QByteArray body = rest.mid(rest.indexOf("\r\n\r\n") + 4);
        QCOMPARE(body, "bb8\r\n" + QByteArray(3000, 'x') + "\r\n5\r\ngr\xc3\xbcn\r\n0\r\n\r\n");
    }

    void lateReaderGetsTheEndOfTheBody() {
        // More than the sockets' buffers hold: the connection is full when the body ends.
        const QByteArray text = noise(12 * 1024 * 1024).toHex();
        RespondingServer server;
        RawClient client(server.port());
        client.socket().setReadBufferSize(4096);
        client.send(get);
        QTRY_COMPARE(server.made.size(), 1);
        server.made[0]->request().setStatus(200, QString());
        server.made[0]->write(QString::fromLatin1(text));
        server.made[0]->finish();
        QTest::qWait(500);
        client.socket().setReadBufferSize(0);
        const HttpReply reply = client.readReply();
        QCOMPARE(reply.body.size(), text.size());
        QCOMPARE(reply.status, 200);
        QVERIFY(client.isConnected());
    }

    void exchangeEndsBeforeTheQueuedTurn() {
        RespondingServer server;
        server.add("/direct", [&](Message* message) {
            server.handler->handle(message);
            server.server().stop();
        });
        RawClient client(server.port());
        client.send(RawClient::requestBytes("GET", "/direct"));
        QVERIFY(client.waitForClose());
        settle();
        QCOMPARE(server.made.size(), 0);
    }

    void serverStopsWithRequestsInFlight() {
        RespondingServer server;
        RawClient waiting(server.port());
        RawClient half(server.port());
        waiting.send(get);
        half.send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 10\r\n\r\nabc");
        QTRY_COMPARE(server.made.size(), 1);
        server.server().stop();
        QVERIFY(waiting.waitForClose());
        QVERIFY(half.waitForClose());
        QTRY_VERIFY(!server.made[0]);
    }

    void operationsAfterTheEndDoNothing() {
        TestServer server;
        std::unique_ptr<Message> copy;
        server.add("/", [&](Message* message) {
            copy = std::make_unique<Message>(*message);
            message->pause();
        });
        RawClient client(server.port());
        client.send(get);
        QTRY_VERIFY(copy);
        QSignalSpy finished(copy.get(), &Message::finished);
        server.server().stop();
        QCOMPARE(finished.count(), 1);
        copy->pause();
        copy->unpause();
        copy->setStatus(200, QString());
        copy->setHeader(QByteArray("A"), QByteArray("b"));
        copy->setEncoding(Message::Chunked);
        copy->setContentLength(1);
        copy->setResponseBody(QByteArray("late"), QString());
        copy->responseBodyAdd("late", 4);
        copy->responseBodyComplete();
        copy->setAccumulate(false);
        server.server().pauseMessage(true, copy.get());
        QVERIFY(copy->header("Host").isNull());
        QVERIFY(copy->requestBody().isEmpty());
        QVERIFY(!ServerMessageDevice(copy.get(), nullptr).open(QIODevice::WriteOnly));
    }
};

QTEST_GUILESS_MAIN(TestExchange)
#include "test_exchange.moc"
