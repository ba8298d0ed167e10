#include "handlers/handler.h"
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

#include <functional>

namespace {

struct Responders {
    QList<QPointer<Responder>> all;
    std::function<void(Responder*)> respond;
};

// A responder that does what a test says, and lets the test reach what it made.
class TestResponder : public Responder {
public:
    TestResponder(Request& request, const QString& documentRoot, Responders* made)
        : Responder(request, documentRoot, nullptr), m_made(made) {
        made->all.append(this);
    }
    bool respondWillBlock() override { return false; }
    void respond() override {
        if (m_made->respond)
            m_made->respond(this);
    }
    void write(const QString& text) {
        out << text;
        out.flush();
    }
    Request& exchange() { return request(); }
    void finish() { Q_EMIT finished(request().requestId()); }

private:
    Responders* m_made;
};

// Has a client that has asked for "/", which a responder answers.
struct RespondingServer : Responders, TestServer {
    RespondingServer() {
        add("/", new ResponderHandler(makeDefaultResponderFactory<TestResponder, Responders*>(this),
                                      {}, nullptr));
    }
    TestResponder* made(int index) const { return static_cast<TestResponder*>(all[index].data()); }
};

const QByteArray get = RawClient::requestBytes("GET", "/");

} // namespace

class TestExchange : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void baseHandlerAnswersWithTheHint() {
        TestServer server;
        server.add("/", new Handler(QString(), nullptr));
        for (const QByteArray method : {"GET", "POST", "PUT", "BREW"}) {
            const HttpReply reply = RawClient::request(server.port(), method, "/any/where?x=1");
            QCOMPARE(reply.status, 404);
            QCOMPARE(reply.reason, QByteArray("Not Found"));
            QCOMPARE(reply.header("Content-Type"), QByteArray("text/plain"));
            QCOMPARE(reply.body, QByteArray("These are not the pages you are looking for. Have you "
                                            "tried using HTTPS ?\n"));
        }
    }

    void requestLineOnTheWire() {
        TestServer server;
        server.add("/", new Handler(QString(), nullptr));
        const QByteArray local = " HTTP/1.1\r\nHost: device\r\n";
        const QList<QPair<QByteArray, int>> rows{{"GET /" + local, 404},
                                                 {"GET / HTTP/1.1\r\nHost: example.com\r\n", 403},
                                                 {"GET / HTTP/1.0\r\n", 404},
                                                 {"GET /\xff\xfe%ff%00?a=%ff%00" + local, 404}};
        for (const auto& [head, status] : rows) {
            RawClient client(server.port());
            client.send(head + "\r\n");
            const HttpReply reply = client.readReply();
            QVERIFY2(reply.status == status, head.left(80).constData());
            QCOMPARE(reply.header("X-Robots-Tag"), QByteArray("noindex"));
        }
    }

    void languageIsAnnounced() {
        TestServer server;
        server.add("/", new Handler(QString(), nullptr));
        const QByteArray accept = "Accept-Language: fr\r\n";
        QVERIFY(RawClient::get(server.port(), "/", accept).header("Content-Language").isNull());
        server.server().setLanguage("de");
        QCOMPARE(RawClient::get(server.port(), "/", accept).header("Content-Language"),
                 QByteArray("de"));
        QVERIFY(RawClient::get(server.port(), "/").header("Content-Language").isNull());
    }

    void requestIsRead() {
        TestServer server;
        server.add("/", [](Message* message) {
            const Request request(message->data(), 7);
            QVERIFY(message->isFromLocalhost());
            QVERIFY(!message->isHttps());
            QCOMPARE(message->header("x-thing"), QByteArray("yes"));
            QVERIFY(message->header("x-other").isNull());
            QVERIFY(message->fullUri().endsWith("/a%20b?q=b+c%2Bd"));
            QCOMPARE(message->url().path(), QString("/a b"));
            QCOMPARE(message->url().queryItemValue("q"), QString("b c+d"));
            QCOMPARE(request.serverData("QUERY_STRING"), QString("q=b%20c%2Bd"));
            QCOMPARE(request.serverData("REMOTE_ADDR"), QString("127.0.0.1"));
            QVERIFY(request.serverData("REMOTE_PORT").toInt() > 0);
            QVERIFY(request.serverData("REQUEST_URI").endsWith("/a%20b?q=b%20c%2Bd"));
            QCOMPARE(request.serverData("OTHER"), QString(""));
            message->setStatus(204, QString());
        });
        QCOMPARE(RawClient::get(server.port(), "/a%20b?q=b+c%2Bd", "X-Thing: yes\r\n").status, 204);
    }

    void firstMatchWins() {
        TestServer server;
        auto* match = new MatchHandler(QString(), nullptr);
        const auto answer = [](int status) {
            return new FunctionHandler(
                [status](Message* message) { message->setStatus(status, QString()); });
        };
        match->addHandler(QStringLiteral("*.fcgi"), answer(201));
        match->addHandler(QRegExp("/a/[0-9]+"), answer(202));
        match->addHandler(answer(203));
        match->addHandler(QStringLiteral("/hidden"), answer(206));
        server.add("/", match);
        const QList<QPair<QByteArray, int>> expected{
            {"/a/b.fcgi?y=1", 201}, {"/a.FCGI", 203},     {"/index.fcgi.bak", 203}, {"/a/12", 202},
            {"/a/12/", 203},        {"/x/%2e.fcgi", 201}, {"/hidden", 203}};
        for (const auto& [path, status] : expected)
            QCOMPARE(qMakePair(path, RawClient::get(server.port(), path).status),
                     qMakePair(path, status));
    }

    void responderStreamsChunks() {
        RespondingServer server;
        RawClient client(server.port());
        client.send(get);
        QTRY_COMPARE(server.all.size(), 1);
        TestResponder* responder = server.made(0);
        QCOMPARE(responder->exchange().requestId(), 1);
        responder->exchange().setStatus(200, QString());
        responder->write("grün");
        QVERIFY(client.read(1).startsWith("H"));
        responder->write("blau");
        responder->finish();
        responder->finish();
        const QByteArray rest = client.readToEnd(300);
        QVERIFY2(rest.contains("\r\n5\r\ngr\xc3\xbcn\r\n4\r\nblau\r\n0\r\n\r\n"), rest.constData());
        QTRY_VERIFY(!server.all[0]);

        client.send(get);
        QTRY_COMPARE(server.all.size(), 2);
        QCOMPARE(server.made(1)->exchange().requestId(), 2);
        server.made(1)->finish();
    }

    void http10EndsWithTheConnection() {
        RespondingServer server;
        server.respond = [](Responder* responder) {
            auto* test = static_cast<TestResponder*>(responder);
            test->exchange().setStatus(200, QString());
            test->exchange().setResponseBody(QByteArray("body"), QStringLiteral("text/plain"));
            test->finish();
        };
        RawClient client(server.port());
        client.send("GET / HTTP/1.0\r\n\r\n");
        const QByteArray reply = client.readToEnd();
        QVERIFY2(reply.endsWith("\r\n\r\nbody"), reply.constData());
        QVERIFY2(!reply.contains("chunked"), reply.constData());
        QVERIFY(!client.isConnected());
    }

    void exchangeEndsBeforeTheQueuedTurn() {
        Responders responders;
        TestServer server;
        auto* handler = new ResponderHandler(
            makeDefaultResponderFactory<TestResponder>(&responders), QString(), nullptr);
        server.add("/direct", [&](Message* message) {
            handler->handle(message);
            server.server().stop();
        });
        server.add("/", handler);
        RawClient client(server.port());
        client.send(RawClient::requestBytes("GET", "/direct"));
        QVERIFY(client.waitForClose());
        settle();
        QCOMPARE(responders.all.size(), 0);
    }

    void serverStopsWithRequestsInFlight() {
        RespondingServer server;
        RawClient waiting(server.port());
        RawClient half(server.port());
        waiting.send(get);
        half.send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 10\r\n\r\nabc");
        QTRY_COMPARE(server.all.size(), 1);
        server.server().stop();
        QVERIFY(waiting.waitForClose());
        QVERIFY(half.waitForClose());
        QTRY_VERIFY(!server.all[0]);

        server.server().start();
        server.server().start();
        RawClient again(server.port());
        again.send(get);
        QTRY_COMPARE(server.all.size(), 2);
        server.made(1)->finish();
        QVERIFY(again.readReply().status > 0);
    }

    void operationsAfterTheEndDoNothing() {
        TestServer server;
        std::unique_ptr<Message> copy;
        server.add("/", [&](Message* message) {
            copy = std::make_unique<Message>(*message);
            message->pause();
        });
        RawClient client(server.port());
        client.send(RawClient::requestBytes("GET", "/x?y=1"));
        QTRY_VERIFY(copy);
        QSignalSpy finished(copy.get(), &Message::finished);
        server.server().stop();
        QCOMPARE(finished.count(), 1);
        QVERIFY(!copy->isValid());
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
        QCOMPARE(copy->status(), 0);
        QCOMPARE(copy->url().path(), QString("/x"));
        ServerMessageDevice device(copy.get(), nullptr);
        QVERIFY(!device.open(QIODevice::WriteOnly));
    }

    void deviceAccountsForChunks() {
        TestServer server;
        std::unique_ptr<Message> message;
        std::unique_ptr<ServerMessageDevice> device;
        server.add("/", [&](Message* handled) {
            message = std::make_unique<Message>(*handled);
            device = std::make_unique<ServerMessageDevice>(message.get(), nullptr);
            message->setStatus(200, QString());
            message->pause();
        });
        RawClient client(server.port());
        client.send(get);
        QTRY_VERIFY(device);
        QVERIFY(!device->open(QIODevice::ReadWrite));
        QVERIFY(device->open(QIODevice::WriteOnly));
        QVERIFY(device->isSequential());

        QSignalSpy written(device.get(), &QIODevice::bytesWritten);
        for (const int size : {10, 20, 30})
            device->write(QByteArray(size, 'x'));
        QCOMPARE(device->bytesToWrite(), 60);
        QTRY_COMPARE(written.count(), 3);
        QCOMPARE(written, (QList<QVariantList>{{10LL}, {20LL}, {30LL}}));
        QCOMPARE(device->bytesToWrite(), 0);

        // What is added behind the device's back is reported as no bytes of its own.
        message->responseBodyAdd(QByteArray("aside"));
        QTRY_COMPARE(written.count(), 4);
        QCOMPARE(written.last().first().toLongLong(), 0);

        device->write(QByteArray(5, 'y'));
        server.server().stop();
        QVERIFY(!device->isOpen());
        QCOMPARE(written.last().first().toLongLong(), 0);
        QCOMPARE(device->bytesToWrite(), 0);
        QCOMPARE(device->write("z"), -1);
    }

    void secondServerOnThePortFails() {
        TestServer server;
        Server second(server.port(), QString(), QString(), false, nullptr);
        QVERIFY(second.ok());
        second.start();
        QVERIFY(!second.isRunning());
        QCOMPARE(second.listeningPort(), 0);

        Server unreadable(0, "no certificate", "no key", false, nullptr);
        QVERIFY(!unreadable.ok());
    }
};

QTEST_GUILESS_MAIN(TestExchange)
#include "test_exchange.moc"
