#include "handlers/handler.h"
#include "message.h"
#include "rawclient.h"
#include "testdevice.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTest>
#include <QTimer>

#include <functional>
#include <sys/resource.h>
#include <sys/socket.h>

namespace {

class TestHandler : public Handler {
public:
    explicit TestHandler(std::function<void(Message*)> function)
        : Handler(QString(), nullptr), m_function(std::move(function)) {}
    void handle(Message* message) override { m_function(message); }

private:
    std::function<void(Message*)> m_function;
};

// Keeps every exchange waiting.
struct Waiting {
    QList<QPointer<Message>> messages;

    Handler* handler() {
        return new TestHandler([this](Message* message) {
            message->setStatus(200, QString());
            message->pause();
            messages.append(message);
        });
    }
    int count() const {
        return static_cast<int>(
            std::count_if(messages.begin(), messages.end(),
                          [](const auto& message) { return !message.isNull(); }));
    }
    void answerAll(const QByteArray& body) {
        for (const auto& message : qAsConst(messages)) {
            message->setEncoding(Message::ContentLength);
            message->setResponseBody(body, QStringLiteral("text/plain"));
            message->responseBodyComplete();
        }
    }
};

const QByteArray get = RawClient::requestBytes("GET", "/");
constexpr int promptMs = 2500;

} // namespace

// Clients that come, stay and leave as they please.
class TestConnections : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void clientThatLeavesReleasesItsExchange_data();
    void clientThatLeavesReleasesItsExchange();
    void halfClosedClientIsAnswered_data();
    void halfClosedClientIsAnswered();
    void slowReaderIsKept();
    void unfinishedHandshakeEndsWithTheServer();
    void silentClientIsDropped_data();
    void silentClientIsDropped();
    void slowSenderIsKept();
    void heldUploadIsKept();
    void moreClientsThanDescriptors();
};

void TestConnections::clientThatLeavesReleasesItsExchange_data() {
    QTest::addColumn<bool>("tls");
    QTest::addColumn<bool>("reset");
    QTest::newRow("closed") << false << false;
    QTest::newRow("reset") << false << true;
    QTest::newRow("closed, TLS") << true << false;
}

void TestConnections::clientThatLeavesReleasesItsExchange() {
    QFETCH(bool, tls);
    QFETCH(bool, reset);
    Waiting waiting;
    TestServer server(tls);
    server.add("/", waiting.handler());
    RawClient stays(server.port(), tls);
    stays.send(get);
    auto leaves = std::make_unique<RawClient>(server.port(), tls);
    leaves->send(get);
    QTRY_COMPARE(waiting.count(), 2);
    const linger now{1, 0};
    if (reset)
        setsockopt(static_cast<int>(leaves->socket().socketDescriptor()), SOL_SOCKET, SO_LINGER,
                   &now, sizeof now);
    leaves.reset();
    QTRY_COMPARE_WITH_TIMEOUT(waiting.count(), 1, promptMs);
    waiting.messages.removeAll(nullptr);
    waiting.answerAll("still here");
    QCOMPARE(stays.readReply().body, QByteArray("still here"));
}

void TestConnections::halfClosedClientIsAnswered_data() {
    QTest::addColumn<int>("afterMs");
    QTest::newRow("at once") << 0;
    QTest::newRow("soon") << 500;
}

void TestConnections::halfClosedClientIsAnswered() {
    QFETCH(int, afterMs);
    Waiting waiting;
    TestServer server;
    server.add("/", waiting.handler());
    RawClient client(server.port());
    client.send(get);
    client.halfClose();
    QTRY_COMPARE(waiting.count(), 1);
    QTimer::singleShot(afterMs, [&] { waiting.answerAll("answer"); });
    QCOMPARE(client.readReply().body, QByteArray("answer"));
}

void TestConnections::slowReaderIsKept() {
    // More than the sockets' buffers hold, for a client that has also closed its sending side.
    const QByteArray body(16 * 1024 * 1024, 'x');
    TestServer server;
    server.server().setPatience(400);
    server.add("/", new TestHandler([&](Message* message) {
                   message->setStatus(200, QString());
                   message->setResponseBody(body, QStringLiteral("text/plain"));
               }));
    RawClient client(server.port());
    client.socket().setReadBufferSize(4096);
    client.send(get);
    client.halfClose();
    QTest::qWait(promptMs);
    client.socket().setReadBufferSize(0);
    QCOMPARE(client.readReply().body.size(), body.size());
}

void TestConnections::unfinishedHandshakeEndsWithTheServer() {
    TestServer server(true);
    server.add("/", new Handler(QString(), nullptr));
    RawClient silent(server.port());
    RawClient begun(server.port());
    begun.send(QByteArray("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11));
    settle();
    QTest::qWait(50);
    server.server().stop();
    QVERIFY(silent.waitForClose());
    QVERIFY(begun.waitForClose());
    // The fixture finds what is left open.
}

void TestConnections::silentClientIsDropped_data() {
    QTest::addColumn<bool>("tls");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("dribble");
    const QByteArray upload = "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 5000\r\n\r\n";
    QTest::newRow("nothing") << false << QByteArray() << QByteArray();
    QTest::newRow("nothing, TLS") << true << QByteArray() << QByteArray();
    QTest::newRow("half a head") << false << QByteArray("GET / HT") << QByteArray();
    QTest::newRow("head, byte by byte") << false << QByteArray("GET /") << QByteArray("x");
    QTest::newRow("half a body") << false << upload + "abc" << QByteArray();
    QTest::newRow("body, byte by byte") << false << upload << QByteArray("x");
    QTest::newRow("after a request") << false << get << QByteArray();
}

void TestConnections::silentClientIsDropped() {
    QFETCH(bool, tls);
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, dribble);
    TestServer server(tls);
    server.server().setPatience(400);
    server.add("/", new Handler(QString(), nullptr));
    RawClient client(server.port()); // without a handshake
    client.send(bytes);
    QTimer timer;
    connect(&timer, &QTimer::timeout, [&] { client.send(dribble); });
    if (!dribble.isEmpty())
        timer.start(50);
    QElapsedTimer elapsed;
    elapsed.start();
    QVERIFY(client.waitForClose());
    QVERIFY2(elapsed.elapsed() > 300 && elapsed.elapsed() < promptMs,
             qPrintable(QString::number(elapsed.elapsed())));
}

void TestConnections::slowSenderIsKept() {
    constexpr int pieces = 5;
    const QByteArray piece(2000, 'x');
    TestServer server;
    server.server().setPatience(400);
    server.add("/", new TestHandler([](Message* message) {
                   message->setStatus(200, QString());
                   message->setResponseBody(message->requestBody(), QStringLiteral("text/plain"));
               }));
    RawClient client(server.port());
    client.send("POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 10000\r\n\r\n");
    for (int i = 0; i < pieces; ++i) {
        QTest::qWait(200);
        client.send(piece);
    }
    QCOMPARE(client.readReply().body, piece.repeated(pieces));
}

void TestConnections::heldUploadIsKept() {
    QPointer<Message> upload;
    qint64 received = 0;
    TestServer server;
    server.server().setPatience(300);
    server.addEarly("/", new TestHandler([&](Message* message) {
                        message->setAccumulate(false);
                        upload = message;
                        connect(message, &Message::gotChunk, [&](const char*, unsigned int size) {
                            if (received == 0)
                                server.server().pauseMessage(true, upload);
                            received += size;
                        });
                    }));
    server.add("/", new TestHandler([](Message*) {}));
    // More than may be kept in memory.
    constexpr int bytes = 20 * 1024 * 1024;
    RawClient client(server.port());
    client.send(RawClient::requestBytes("POST", "/", {}, QByteArray(bytes, 'x')));
    QTRY_VERIFY(received > 0);
    QTest::qWait(1000);
    QVERIFY(upload);
    server.server().pauseMessage(false, upload);
    QTRY_COMPARE(received, bytes);
    QCOMPARE(client.readReply().status, 500); // nobody has set another
}

void TestConnections::moreClientsThanDescriptors() {
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    TestServer server;
    server.add("/", new Handler(QString(), nullptr));
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 24; ++i)
        clients.push_back(std::make_unique<RawClient>(server.port()));
    settle();
    const auto used = QDir("/proc/self/fd").entryList(QDir::System | QDir::AllEntries).size();
    const rlimit low{static_cast<rlim_t>(used + 10), before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &low);
    RawClient late(server.port());
    late.send(get);
    QCOMPARE(late.readReply(false, 700).status, 0);
    clients.clear();
    QCOMPARE(late.readReply().status, 404);
    setrlimit(RLIMIT_NOFILE, &before);
}

QTEST_GUILESS_MAIN(TestConnections)
#include "test_connections.moc"
