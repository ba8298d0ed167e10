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

// A handler that does what a test says.
class TestHandler : public Handler {
public:
    explicit TestHandler(std::function<void(Message*)> function)
        : Handler(QString(), nullptr), m_function(std::move(function)) {}
    void handle(Message* message) override { m_function(message); }

private:
    std::function<void(Message*)> m_function;
};

struct Responders {
    QList<QPointer<Responder>> all;
    std::function<void(Responder*, Request*)> respond;
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
            m_made->respond(this, &request());
    }
    QTextStream& output() { return out; }
    Request& exchange() { return request(); }
    void finish() { Q_EMIT finished(request().requestId()); }

private:
    Responders* m_made;
};

TestResponder* made(const Responders& responders, int index) {
    return static_cast<TestResponder*>(responders.all.at(index).data());
}

} // namespace

class TestExchange : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void baseHandlerAnswersWithTheHint();
    void hostOnTheWire_data();
    void hostOnTheWire();
    void languageIsAnnounced();
    void statusPhrase_data();
    void statusPhrase();
    void requestIsRead();
    void requestBodies_data();
    void requestBodies();
    void delimiter_data();
    void delimiter();
    void firstMatchWins();
    void responderStreamsChunks();
    void http10EndsWithTheConnection();
    void clientLeavesWhileResponderWorks();
    void exchangeEndsBeforeTheQueuedTurn();
    void serverStopsWithRequestsInFlight();
    void operationsAfterTheEndDoNothing();
    void deviceAccountsForChunks();
    void halfSentRequestsAndRubbish_data();
    void halfSentRequestsAndRubbish();
    void secondServerOnThePortFails();
};

void TestExchange::baseHandlerAnswersWithTheHint() {
    TestServer server;
    server.add("/", new Handler(QString(), nullptr));
    for (const QByteArray method : {"GET", "POST", "PUT", "BREW"}) {
        const HttpReply reply = RawClient::request(server.port(), method, "/any/where?x=1");
        QCOMPARE(reply.status, 404);
        QCOMPARE(reply.reason, QByteArray("Not Found"));
        QCOMPARE(reply.header("Content-Type"), QByteArray("text/plain"));
        QCOMPARE(reply.header("X-Robots-Tag"), QByteArray("noindex"));
        QCOMPARE(reply.body, QByteArray("These are not the pages you are looking for. Have you "
                                        "tried using HTTPS ?\n"));
    }
}

void TestExchange::hostOnTheWire_data() {
    QTest::addColumn<QByteArray>("head");
    QTest::addColumn<int>("status");
    QTest::newRow("local name") << QByteArray("GET / HTTP/1.1\r\nHost: device\r\n\r\n") << 404;
    QTest::newRow("foreign") << QByteArray("GET / HTTP/1.1\r\nHost: example.com\r\n\r\n") << 403;
    QTest::newRow("missing in 1.0") << QByteArray("GET / HTTP/1.0\r\n\r\n") << 404;
}

void TestExchange::hostOnTheWire() {
    QFETCH(QByteArray, head);
    TestServer server;
    server.add("/", new Handler(QString(), nullptr));
    RawClient client(server.port());
    client.send(head);
    const HttpReply reply = client.readReply();
    QTEST(reply.status, "status");
    QCOMPARE(reply.header("X-Robots-Tag"), QByteArray("noindex"));
}

void TestExchange::languageIsAnnounced() {
    TestServer server;
    server.add("/", new Handler(QString(), nullptr));
    const QByteArray accept = "Accept-Language: fr\r\n";
    QVERIFY(RawClient::get(server.port(), "/", accept).header("Content-Language").isNull());
    server.server().setLanguage("de");
    QCOMPARE(RawClient::get(server.port(), "/", accept).header("Content-Language"),
             QByteArray("de"));
    QVERIFY(RawClient::get(server.port(), "/").header("Content-Language").isNull());
}

void TestExchange::statusPhrase_data() {
    QTest::addColumn<QString>("given");
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("null") << QString() << QByteArray("Not Found");
    QTest::newRow("empty") << QStringLiteral("") << QByteArray("");
    QTest::newRow("text") << QStringLiteral("Gone away") << QByteArray("Gone away");
}

void TestExchange::statusPhrase() {
    QFETCH(QString, given);
    TestServer server;
    server.add("/", new TestHandler([&](Message* message) { message->setStatus(404, given); }));
    QTEST(RawClient::get(server.port(), "/").reason, "sent");
}

void TestExchange::requestIsRead() {
    TestServer server;
    server.add("/", new TestHandler([](Message* message) {
                   const Request request(message->data(), 7);
                   QVERIFY(message->isFromLocalhost());
                   QVERIFY(!message->isHttps());
                   QCOMPARE(message->header("x-thing"), QByteArray("yes"));
                   QVERIFY(message->header("x-other").isNull());
                   QVERIFY(message->fullUri().endsWith("/a%20b?q=b+c%2Bd"));
                   QCOMPARE(message->url().path(), QString("/a b"));
                   QCOMPARE(message->url().queryItemValue("q"), QString("b c+d"));
                   QCOMPARE(request.requestId(), 7);
                   QCOMPARE(request.serverData("QUERY_STRING"), QString("q=b%20c%2Bd"));
                   QCOMPARE(request.serverData("REMOTE_ADDR"), QString("127.0.0.1"));
                   QVERIFY(request.serverData("REMOTE_PORT").toInt() > 0);
                   QVERIFY(request.serverData("REQUEST_URI").endsWith("/a%20b?q=b%20c%2Bd"));
                   QCOMPARE(request.serverData("OTHER"), QString(""));
                   message->setStatus(204, QString());
               }));
    QCOMPARE(RawClient::get(server.port(), "/a%20b?q=b+c%2Bd", "X-Thing: yes\r\n").status, 204);
}

void TestExchange::requestBodies_data() {
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QVariantHash>("fields");
    const QVariantHash form{{"a", "b c"}, {"ü", ""}};
    const QVariantHash none;
    QTest::newRow("form") << QByteArray("application/x-www-form-urlencoded")
                          << QByteArray("a=b+c&%C3%BC=") << form;
    QTest::newRow("form with charset")
        << QByteArray("application/x-www-form-urlencoded; charset=UTF-8")
        << QByteArray("a=b+c&%C3%BC=") << form;
    QTest::newRow("json") << QByteArray("application/json")
                          << QByteArray("{\"a\":[1,true],\"b\":null}")
                          << QVariantHash{{"a", QVariantList{1, true}}, {"b", QVariant()}};
    QTest::newRow("json array") << QByteArray("application/json") << QByteArray("[1]") << none;
    QTest::newRow("json cut off") << QByteArray("application/json") << QByteArray("{\"a\":[1")
                                  << none;
    QTest::newRow("json too deep")
        << QByteArray("application/json") << QByteArray(100000, '[') << none;
    QTest::newRow("type in another case")
        << QByteArray("Application/JSON") << QByteArray("{\"a\":1}") << none;
    QTest::newRow("no body") << QByteArray("application/json") << QByteArray() << none;
}

void TestExchange::requestBodies() {
    QFETCH(QByteArray, type);
    QFETCH(QByteArray, body);
    QFETCH(QVariantHash, fields);
    TestServer server;
    server.add("/", new TestHandler([&](Message* message) {
                   const Request request(message->data(), 1);
                   QCOMPARE(request.postData(), fields);
                   message->setStatus(204, QString());
               }));
    QCOMPARE(RawClient::request(server.port(), "POST", "/", "Content-Type: " + type + "\r\n", body)
                 .status,
             204);
}

void TestExchange::delimiter_data() {
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QByteArray>("expected");
    QTest::addColumn<bool>("multipart");
    QTest::newRow("plain") << QByteArray("multipart/form-data; boundary=XyZ")
                           << QByteArray("\r\n--XyZ") << true;
    QTest::newRow("quoted, with a parameter behind")
        << QByteArray("multipart/form-data; boundary=\"a b\"; x=1")
        << QByteArray("\r\n--\"a b\"; x=1") << true;
    QTest::newRow("no boundary") << QByteArray("multipart/form-data") << QByteArray() << true;
    QTest::newRow("mixed") << QByteArray("multipart/mixed; boundary=x") << QByteArray() << false;
}

void TestExchange::delimiter() {
    QFETCH(QByteArray, type);
    QFETCH(QByteArray, expected);
    QFETCH(bool, multipart);
    TestServer server;
    server.add("/", new TestHandler([&](Message* message) {
                   QCOMPARE(message->getDelimiterFromHeader(), expected);
                   QCOMPARE(message->getDelimiterFromHeader().isNull(), expected.isNull());
                   QCOMPARE(message->isMultipart(), multipart);
                   message->setStatus(204, QString());
               }));
    QCOMPARE(RawClient::request(server.port(), "POST", "/", "Content-Type: " + type + "\r\n", "x")
                 .status,
             204);
}

void TestExchange::firstMatchWins() {
    TestServer server;
    auto* match = new MatchHandler(QString(), nullptr);
    const auto answer = [](int status) {
        return new TestHandler(
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

    TestServer empty;
    empty.add("/", new MatchHandler(QString(), nullptr));
    // libsoup's answer to a message that nobody has touched.
    QCOMPARE(RawClient::get(empty.port(), "/").status, 500);
}

void TestExchange::responderStreamsChunks() {
    Responders responders;
    TestServer server;
    server.add("/", new ResponderHandler(
                        new DefaultResponderFactory<TestResponder, Responders*>(&responders),
                        QString(), nullptr));
    RawClient client(server.port());
    client.send(RawClient::requestBytes("GET", "/"));
    QTRY_COMPARE(responders.all.size(), 1);
    TestResponder* responder = made(responders, 0);
    QCOMPARE(responder->exchange().requestId(), 1);
    responder->exchange().setStatus(200, QString());
    responder->output() << QStringLiteral("grün");
    responder->output().flush();
    QVERIFY(client.read(1).startsWith("H"));
    responder->output() << QStringLiteral("blau");
    responder->finish();
    responder->finish();
    const QByteArray rest = client.readToEnd(300);
    QVERIFY2(rest.contains("\r\n5\r\ngr\xc3\xbcn\r\n4\r\nblau\r\n0\r\n\r\n"), rest.constData());
    QVERIFY(client.isConnected());
    QTRY_VERIFY(!responders.all[0]);

    client.send(RawClient::requestBytes("GET", "/"));
    QTRY_COMPARE(responders.all.size(), 2);
    QCOMPARE(made(responders, 1)->exchange().requestId(), 2);
    made(responders, 1)->finish();
}

void TestExchange::http10EndsWithTheConnection() {
    Responders responders;
    responders.respond = [](Responder* responder, Request* request) {
        request->setStatus(200, QString());
        request->setResponseBody(QByteArray("body"), QStringLiteral("text/plain"));
        static_cast<TestResponder*>(responder)->finish();
    };
    TestServer server;
    server.add("/", new ResponderHandler(
                        new DefaultResponderFactory<TestResponder, Responders*>(&responders),
                        QString(), nullptr));
    RawClient client(server.port());
    client.send("GET / HTTP/1.0\r\n\r\n");
    const QByteArray answer = client.readToEnd();
    QVERIFY2(answer.endsWith("\r\n\r\nbody"), answer.constData());
    QVERIFY2(!answer.contains("chunked"), answer.constData());
    QVERIFY(!client.isConnected());
}

void TestExchange::clientLeavesWhileResponderWorks() {
    Responders responders;
    TestServer server;
    server.add("/", new ResponderHandler(
                        new DefaultResponderFactory<TestResponder, Responders*>(&responders),
                        QString(), nullptr));
    RawClient client(server.port());
    client.send(RawClient::requestBytes("GET", "/"));
    QTRY_COMPARE(responders.all.size(), 1);
    made(responders, 0)->exchange().setStatus(200, QString());
    made(responders, 0)->output() << "x";
    made(responders, 0)->output().flush();
    client.read(1);
    client.abort();
    // The end of the exchange is noticed by writing to it.
    QTRY_VERIFY(!responders.all[0] || (made(responders, 0)->output() << "more",
                                       made(responders, 0)->output().flush(), false));
}

void TestExchange::exchangeEndsBeforeTheQueuedTurn() {
    Responders responders;
    TestServer server;
    auto* handler = new ResponderHandler(
        new DefaultResponderFactory<TestResponder, Responders*>(&responders), QString(), nullptr);
    server.add("/direct", new TestHandler([&](Message* message) {
                   handler->handle(message);
                   server.server().stop();
               }));
    server.add("/", handler);
    RawClient client(server.port());
    client.send(RawClient::requestBytes("GET", "/direct"));
    QVERIFY(client.waitForClose());
    settle();
    QCOMPARE(responders.all.size(), 0);
}

void TestExchange::serverStopsWithRequestsInFlight() {
    Responders responders;
    TestServer server;
    server.add("/", new ResponderHandler(
                        new DefaultResponderFactory<TestResponder, Responders*>(&responders),
                        QString(), nullptr));
    RawClient waiting(server.port());
    RawClient half(server.port());
    waiting.send(RawClient::requestBytes("GET", "/"));
    half.send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 10\r\n\r\nabc");
    QTRY_COMPARE(responders.all.size(), 1);
    server.server().stop();
    QVERIFY(waiting.waitForClose());
    QVERIFY(half.waitForClose());
    QTRY_VERIFY(!responders.all[0]);

    server.server().start();
    server.server().start();
    RawClient again(server.port());
    again.send(RawClient::requestBytes("GET", "/"));
    QTRY_COMPARE(responders.all.size(), 2);
    made(responders, 1)->finish();
    QVERIFY(again.readReply().status > 0);
}

void TestExchange::operationsAfterTheEndDoNothing() {
    TestServer server;
    std::unique_ptr<Message> copy;
    server.add("/", new TestHandler([&](Message* message) {
                   copy = std::make_unique<Message>(*message);
                   message->pause();
               }));
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
    QVERIFY(copy->url().path() == "/x");
    ServerMessageDevice device(copy.get(), nullptr);
    QVERIFY(!device.open(QIODevice::WriteOnly));
}

void TestExchange::deviceAccountsForChunks() {
    TestServer server;
    std::unique_ptr<Message> message;
    std::unique_ptr<ServerMessageDevice> device;
    server.add("/", new TestHandler([&](Message* handled) {
                   message = std::make_unique<Message>(*handled);
                   device = std::make_unique<ServerMessageDevice>(message.get(), nullptr);
                   message->setStatus(200, QString());
                   message->pause();
               }));
    RawClient client(server.port());
    client.send(RawClient::requestBytes("GET", "/"));
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

void TestExchange::halfSentRequestsAndRubbish_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("half a request line") << QByteArray("GET /");
    QTest::newRow("half the headers") << QByteArray("GET / HTTP/1.1\r\nHost: local");
    QTest::newRow("half a body") << QByteArray(
        "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 10\r\n\r\nabc");
    QTest::newRow("NUL bytes") << QByteArray(64, '\0') + "\r\n\r\n";
    QTest::newRow("no HTTP") << QByteArray("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\r\n\r\n", 13);
    QTest::newRow("64 KiB query") << "GET /?" + QByteArray(65536, 'q') +
                                         " HTTP/1.1\r\nHost: localhost\r\n\r\n";
    QTest::newRow("invalid UTF-8")
        << QByteArray("GET /\xff\xfe%ff%00?a=%ff%00 HTTP/1.1\r\nHost: localhost\r\n\r\n");
}

void TestExchange::halfSentRequestsAndRubbish() {
    QFETCH(QByteArray, bytes);
    TestServer server;
    server.add("/", new Handler(QString(), nullptr));
    {
        RawClient client(server.port());
        client.send(bytes);
        client.halfClose();
        client.readToEnd(500);
    }
    QCOMPARE(RawClient::get(server.port(), "/").status, 404);
}

void TestExchange::secondServerOnThePortFails() {
    TestServer server;
    Server second(server.port(), QString(), QString(), false, nullptr);
    QVERIFY(second.ok());
    second.start();
    QVERIFY(!second.isRunning());
    QCOMPARE(second.listeningPort(), 0);

    Server unreadable(0, "no certificate", "no key", false, nullptr);
    QVERIFY(!unreadable.ok());
}

QTEST_GUILESS_MAIN(TestExchange)
#include "test_exchange.moc"
