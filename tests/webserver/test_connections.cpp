// SPDX-License-Identifier: MIT
#include "connection/hangupnotifier.h"
#include "message.h"
#include "rawclient.h"
#include "testdevice.h"

#include <QElapsedTimer>
#include <QScopeGuard>
#include <QTest>
#include <QTimer>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// Keeps every exchange waiting.
struct WaitingServer : TestServer {
    QList<QPointer<Message>> messages;

    explicit WaitingServer(bool tls = false, const ConnectionLimits& limits = {})
        : TestServer(tls, limits) {
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
// Longer than a client may owe something in these tests, and than the server waits beyond that.
constexpr int beyondPatienceMs = 2500;

} // namespace

// Clients that come, stay and leave as they please.
class TestConnections : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void clientThatLeavesReleasesItsExchange() {
        for (const auto& [tls, isReset] :
             {std::pair(false, false), std::pair(false, true), std::pair(true, false)}) {
            WaitingServer server(tls);
            RawClient stays(server.port(), tls);
            RawClient leaves(server.port(), tls);
            stays.send(get);
            QTRY_COMPARE(server.count(), 1);
            leaves.send(get);
            QTRY_COMPARE(server.count(), 2);
            if (isReset)
                leaves.reset();
            else
                leaves.abort();
            QTRY_COMPARE(server.count(), 1);
            server.answer("still here");
            QCOMPARE(stays.readReply().body, QByteArray("still here"));
        }
    }

    void manyRequestsAtOnceLeaveRoomForOthers() {
        constexpr int requests = 2000;
        TestServer server;
        int calls = 0;
        int most = 0;
        server.add("/", [&](Message* message) {
            ++calls;
            message->setStatus(200, QString());
        });
        QTimer turn;
        turn.callOnTimeout(
            [&, last = 0]() mutable { most = std::max(most, calls - std::exchange(last, calls)); });
        turn.start(0);
        RawClient client(server.port());
        client.send(RawClient::requestBytes("GET", "/").repeated(requests));
        QTRY_COMPARE(calls, requests);
        QVERIFY2(most < requests / 10, qPrintable(QString::number(most)));
    }

    void longestWaitingMakesRoom_data() {
        QTest::addColumn<qint64>("connections");
        QTest::addColumn<qint64>("heldBytes");
        QTest::newRow("for another connection of its address") << qint64(2) << qint64(1 << 20);
        QTest::newRow("for what another has in memory") << qint64(100) << qint64(100000);
    }
    void longestWaitingMakesRoom() {
        QFETCH(qint64, connections);
        QFETCH(qint64, heldBytes);
        ConnectionLimits limits;
        limits.connectionsPerAddress = connections;
        limits.heldBytes = heldBytes;
        WaitingServer server(false, limits);
        RawClient waits(server.port()); // for the device, not the device for it
        waits.send(get);
        QTRY_COMPARE(server.count(), 1);
        const QByteArray half = "GET / HTTP/1.1\r\nX: " + QByteArray(60000, 'x');
        RawClient first(server.port());
        first.send(half);
        QTest::qWait(50);
        QVERIFY(first.isConnected());
        RawClient second(server.port());
        second.send(half);
        QVERIFY(first.waitForClose());
        second.send("\r\nHost: a\r\n\r\n");
        QTRY_COMPARE(server.count(), 2);
        server.answer("still here");
        QCOMPARE(waits.readReply().body, QByteArray("still here"));
    }

    void longestPollMakesRoomWhereAllPoll() {
        ConnectionLimits limits;
        limits.connectionsPerAddress = 2;
        TestServer server(false, limits);
        int begun = 0;
        server.add("/", [&](Message* message) {
            new HangUpNotifier(message->data().message, message);
            message->pause();
            ++begun;
        });
        RawClient first(server.port());
        first.send(get);
        QTRY_COMPARE(begun, 1);
        RawClient second(server.port());
        second.send(get);
        QTRY_COMPARE(begun, 2);
        RawClient third(server.port());
        third.send(get);
        QTRY_COMPARE(begun, 3);
        QVERIFY(first.waitForClose());
        QVERIFY(second.isConnected());
    }

    void someDescriptorsAreHeldBack() {
        constexpr int limit = 256;
        TestServer server;
        server.add("/", new Handler(QString(), nullptr));
        std::vector<int> taken;
        rlimit usual{};
        getrlimit(RLIMIT_NOFILE, &usual);
        const auto restore = qScopeGuard([&] {
            std::for_each(taken.begin(), taken.end(), ::close);
            setrlimit(RLIMIT_NOFILE, &usual);
        });
        RawClient idle(server.port());
        idle.send(get);
        QCOMPARE(idle.readReply().status, 404);
        const rlimit few{limit, usual.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &few), 0);
        // What is left is less than the server holds back, though enough for another client.
        while (taken.empty() || taken.back() < limit - limit / 8)
            taken.push_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        RawClient next(server.port());
        QVERIFY(idle.waitForClose());
        next.send(get);
        QCOMPARE(next.readReply().status, 404);
    }

    void slowReaderIsKept() {
        // More than the sockets' buffers hold, for a client that has also closed its sending side.
        const QByteArray body(16 * 1024 * 1024, 'x');
        WaitingServer server(false, patience(400));
        RawClient client(server.port());
        client.socket().setReadBufferSize(4096);
        client.send(get);
        client.halfClose();
        QTest::qWait(500);
        QCOMPARE(server.count(), 1);
        server.answer(body);
        QTest::qWait(beyondPatienceMs);
        client.socket().setReadBufferSize(0);
        QCOMPARE(client.readReply().body.size(), body.size());
    }

    void longAnswerIsSentToItsEnd() {
        const QByteArray body(256 * 1024 * 1024, 'x');
        ConnectionLimits limits;
        limits.answerMs = 400;
        WaitingServer server(false, limits);
        RawClient client(server.port());
        // Counted only: to keep so much would stop the main loop, and with it the server.
        qint64 received = 0;
        QObject::connect(&client.socket(), &QIODevice::readyRead,
                         [&] { received += client.socket().readAll().size(); });
        client.send(get);
        client.halfClose(); // Such connections are looked at more often.
        QTRY_COMPARE(server.count(), 1);
        server.answer(body);
        QTRY_VERIFY_WITH_TIMEOUT(received > body.size(), 60000);
    }

    void unfinishedHandshakeLeavesNothing_data() {
        QTest::addColumn<bool>("stops");
        QTest::newRow("when the server stops") << true;
        QTest::newRow("when the client takes too long") << false;
    }
    void unfinishedHandshakeLeavesNothing() {
        QFETCH(bool, stops);
        TestServer server(true, stops ? ConnectionLimits() : patience(400));
        RawClient silent(server.port());
        silent.send("x");
        RawClient begun(server.port());
        begun.send(QByteArray("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11));
        QTest::qWait(50);
        if (stops)
            server.server().stop();
        QVERIFY(silent.waitForClose());
        QVERIFY(begun.waitForClose());
        // The fixture finds what is left open.
    }

    void silentClientIsDropped_data() {
        QTest::addColumn<bool>("tls");
        QTest::addColumn<QByteArray>("first");
        QTest::addColumn<QByteArray>("again");
        QTest::newRow("nothing") << false << QByteArray() << QByteArray();
        QTest::newRow("a byte of a handshake") << true << QByteArray("x") << QByteArray();
        QTest::newRow("head, byte by byte") << false << QByteArray("GET /") << QByteArray("x");
        QTest::newRow("half a body") << false << upload << QByteArray();
        QTest::newRow("body, byte by byte") << false << upload << QByteArray("x");
        QTest::newRow("after a request") << false << get << QByteArray();
    }
    void silentClientIsDropped() {
        QFETCH(bool, tls);
        QFETCH(QByteArray, first);
        QFETCH(QByteArray, again);
        TestServer server(tls, patience(400));
        RawClient client(server.port()); // without a handshake
        client.send(first);
        QTimer timer;
        timer.callOnTimeout([&] { client.send(again); });
        timer.start(50);
        QElapsedTimer elapsed;
        elapsed.start();
        QVERIFY(client.waitForClose());
        QVERIFY2(elapsed.elapsed() > 300, qPrintable(QString::number(elapsed.elapsed())));
    }

    void slowSenderIsKept() {
        // Longer in all than a silent one may wait. Each time is far shorter.
        WaitingServer server(false, patience(1200));
        RawClient client(server.port());
        client.send(upload);
        for (int i = 0; i < 5; ++i) {
            QTest::qWait(300);
            client.send(QByteArray(2000, 'x'));
        }
        QTRY_COMPARE(server.count(), 1);
        QCOMPARE(server.messages[0]->requestBody().size(), 10000);
    }
};

QTEST_GUILESS_MAIN(TestConnections)
#include "test_connections.moc"
