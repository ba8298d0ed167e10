#include "message.h"
#include "rawclient.h"
#include "testdevice.h"

#include <QElapsedTimer>
#include <QTest>
#include <QTimer>

#include <sys/socket.h>

namespace {

// Keeps every exchange waiting.
struct WaitingServer : TestServer {
    QList<QPointer<Message>> messages;

    explicit WaitingServer(bool tls = false) : TestServer(tls) {
        add("/", [this](Message* message) {
            message->setStatus(200, QString());
            message->pause();
            messages.append(message);
        });
    }
    // Of the messages that live.
    int count() {
        messages.removeAll(nullptr);
        return messages.size();
    }
    void answer(const QByteArray& body) const {
        messages.first()->setEncoding(Message::ContentLength);
        messages.first()->setResponseBody(body, QStringLiteral("text/plain"));
        messages.first()->responseBodyComplete();
    }
};

const QByteArray get = RawClient::requestBytes("GET", "/");
const QByteArray upload = "POST / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 10000\r\n\r\n";
constexpr int promptMs = 2500;

} // namespace

// Clients that come, stay and leave as they please.
class TestConnections : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void clientThatLeavesReleasesItsExchange_data() {
        QTest::addColumn<bool>("tls");
        QTest::addColumn<bool>("reset");
        QTest::newRow("closed") << false << false;
        QTest::newRow("reset") << false << true;
        QTest::newRow("closed, TLS") << true << false;
    }
    void clientThatLeavesReleasesItsExchange() {
        QFETCH(bool, tls);
        QFETCH(bool, reset);
        WaitingServer server(tls);
        RawClient stays(server.port(), tls);
        stays.send(get);
        auto leaves = std::make_unique<RawClient>(server.port(), tls);
        leaves->send(get);
        QTRY_COMPARE(server.count(), 2);
        const linger now{1, 0};
        if (reset)
            setsockopt(static_cast<int>(leaves->socket().socketDescriptor()), SOL_SOCKET, SO_LINGER,
                       &now, sizeof now);
        leaves.reset();
        QTRY_COMPARE_WITH_TIMEOUT(server.count(), 1, promptMs);
        server.answer("still here");
        QCOMPARE(stays.readReply().body, QByteArray("still here"));
    }

    void slowReaderIsKept() {
        // More than the sockets' buffers hold, for a client that has also closed its sending side.
        const QByteArray body(16 * 1024 * 1024, 'x');
        WaitingServer server;
        server.server().setPatience(400);
        RawClient client(server.port());
        client.socket().setReadBufferSize(4096);
        client.send(get);
        client.halfClose();
        QTest::qWait(500);
        QCOMPARE(server.count(), 1);
        server.answer(body);
        QTest::qWait(promptMs);
        client.socket().setReadBufferSize(0);
        QCOMPARE(client.readReply().body.size(), body.size());
    }

    void unfinishedHandshakeEndsWithTheServer() {
        TestServer server(true);
        RawClient silent(server.port());
        RawClient begun(server.port());
        begun.send(QByteArray("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11));
        QTest::qWait(50);
        server.server().stop();
        QVERIFY(silent.waitForClose());
        QVERIFY(begun.waitForClose());
        // The fixture finds what is left open.
    }

    void silentClientIsDropped_data() {
        QTest::addColumn<bool>("tls");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("dribble");
        const QByteArray nothing;
        QTest::newRow("nothing") << false << nothing << nothing;
        QTest::newRow("nothing, TLS") << true << nothing << nothing;
        QTest::newRow("head, byte by byte") << false << QByteArray("GET /") << QByteArray("x");
        QTest::newRow("half a body") << false << upload + "abc" << nothing;
        QTest::newRow("body, byte by byte") << false << upload << QByteArray("x");
        QTest::newRow("after a request") << false << get << nothing;
    }
    void silentClientIsDropped() {
        QFETCH(bool, tls);
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, dribble);
        TestServer server(tls);
        server.server().setPatience(400);
        RawClient client(server.port()); // without a handshake
        client.send(bytes);
        QTimer timer;
        timer.callOnTimeout([&] { client.send(dribble); });
        timer.start(50);
        QElapsedTimer elapsed;
        elapsed.start();
        QVERIFY(client.waitForClose());
        QVERIFY2(elapsed.elapsed() > 300 && elapsed.elapsed() < promptMs,
                 qPrintable(QString::number(elapsed.elapsed())));
    }

    void slowSenderIsKept() {
        WaitingServer server;
        server.server().setPatience(400);
        RawClient client(server.port());
        client.send(upload);
        for (int i = 0; i < 5; ++i) {
            QTest::qWait(200);
            client.send(QByteArray(2000, 'x'));
        }
        QTRY_COMPARE(server.count(), 1);
        QCOMPARE(server.messages[0]->requestBody().size(), 10000);
    }
};

QTEST_GUILESS_MAIN(TestConnections)
#include "test_connections.moc"
