// SPDX-License-Identifier: MIT
#include "core/model/cmeventqueuemanager.h"
#include "rawclient.h"
#include "responders/event/eventbatches.h"
#include "testdevice.h"

#include <QHostAddress>
#include <QTest>

class TestEventResponder : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_device = std::make_unique<TestDevice>(
            QVariantHash{{"player:player/volume", valueNode("i32_", 30)}});
    }
    void cleanup() { m_device.reset(); }
    void refusesNumbersAndListsThatAreNone() {
        for (const auto& [target, body] : {std::pair("modifyQueue", R"({"subscribe":"[]"})"),
                                           std::pair("pollQueue", R"({"timeout":1.5})"),
                                           std::pair("pollQueue", R"({"timeout":99999999999})")}) {
            const HttpReply reply = request(target, body);
            QCOMPARE(reply.status, 400);
            QVERIFY2(reply.body.startsWith("Unable to parse"), body);
        }
    }

    void changesQueues() {
        const QByteArray list = "=%5B%7B%22path%22%3A%22player%3Aplayer/volume%22%7D%5D";
        const QByteArray queue = subscribe("player:player/volume");
        setVolume(31);
        const QByteArray event = "[{\"path\":\"player:player/volume\",\"value\":{\"i32_\":31}}]\n";
        QCOMPARE(poll(queue), event);
        QCOMPARE(request("modifyQueue?queueId=" + queue + "&unsubscribe" + list).body,
                 '"' + queue + "\"\n");
        setVolume(32);
        QCOMPARE(poll(queue), QByteArray("[]\n"));
    }

    void deliversToAWaitingPoll() {
        // With the paths that the client has subscribed.
        for (const QByteArray path : {"/player/volume", "player:player/volume"}) {
            const QByteArray queue = subscribe(path);
            for (const QByteArray timeout : {"&timeout=2147483647", "&timeout=-7", ""}) {
                RawClient client(m_device->port());
                startPoll(client, queue, timeout);
                setVolume(path.size() + timeout.size());
                QVERIFY(client.readReply().body.startsWith("[{\"path\":\"" + path));
            }
        }
    }

    void clientThatLeavesLosesNoEvents() {
        const QByteArray queue = subscribe("player:player/volume");
        int volume = 50;
        using Leave = void (*)(RawClient&);
        for (const Leave leave :
             {Leave([](RawClient& client) { client.abort(); }), Leave([](RawClient& client) {
                  client.send(RawClient::requestBytes("GET", "/"));
                  client.socket().close();
              }),
              // It may still read, and is told at once that there is nothing.
              Leave([](RawClient& client) {
                  client.halfClose();
                  QCOMPARE(client.readReply().body, QByteArray("[]\n"));
              })}) {
            RawClient client(m_device->port());
            startPoll(client, queue);
            leave(client);
            settle();
            setVolume(++volume);
            QVERIFY(poll(queue).contains(QByteArray::number(volume)));
        }
    }

    void oneAddressLeavesRoomForOthers() {
        QByteArray paths;
        for (int count = 0; count < CMEventQueueManager::maximumPathsPerQueue; ++count)
            paths += (paths.isEmpty() ? "" : ",") + pathEntry("made:" + QByteArray::number(count));
        const QByteArray body = "{\"subscribe\":[" + paths + "]}";
        HttpReply reply = request("modifyQueue", body);
        for (; reply.status == 200; reply = request("modifyQueue", body))
            QCOMPARE(poll(reply.body.mid(1, 38)), QByteArray("[]\n"));
        QCOMPARE(reply.status, 400);
        RawClient other(m_device->port());
        other.abort();
        QVERIFY(other.socket().bind(QHostAddress("127.0.0.2")));
        other.socket().connectToHost("127.0.0.1", quint16(m_device->port()));
        QVERIFY(other.socket().waitForConnected());
        other.send(RawClient::requestBytes("POST", "/api/event/modifyQueue",
                                           "Content-Type: application/json\r\n", body));
        QCOMPARE(other.readReply().status, 200);
    }

    void numberedPollsGetWhatWasLostOnTheWay() {
        const QByteArray queue = subscribe("player:player/volume");
        const auto numbered = [&](int seq) {
            return request("pollQueue?timeout=0&seq=" + QByteArray::number(seq) +
                           "&queueId=" + queue);
        };
        const auto batch = [](int seq, int volume) {
            return "{\"events\":[" + volumeEvent(volume) + "],\"seq\":" + QByteArray::number(seq) +
                   "}\n";
        };
        setVolume(31);
        QCOMPARE(numbered(0).body, batch(1, 31));
        setVolume(32);
        QCOMPARE(numbered(0).body, batch(1, 31));
        QCOMPARE(numbered(1).body, batch(2, 32));
        QCOMPARE(numbered(2).body, QByteArray("{\"events\":[],\"seq\":2}\n"));
        for (const int unknown : {1, 3}) {
            QCOMPARE(numbered(unknown).status, 400);
            QCOMPARE(numbered(unknown).body, QByteArray("Unknown sequence number!\n"));
        }
    }

    void keptBatchesAreBounded() {
        EventBatches batches;
        const QByteArray half(int(EventBatches::maximumBytesPerQueue / 2), 'x');
        const auto name = [](qint64 number) { return QString::number(number); };
        const qint64 queues = EventBatches::maximumBytes / half.size() / 2;
        for (qint64 number = 0; number <= queues; ++number) {
            QCOMPARE(batches.add(name(number), half), 1);
            QCOMPARE(batches.add(name(number), half), 2);
        }
        // Now there is one queue too many.
        QVERIFY(!batches.reachesBackTo(name(0), 1));
        QVERIFY(batches.reachesBackTo(name(0), 2));
        QCOMPARE(batches.batch(name(1), 1), half);
        QCOMPARE(batches.add(name(1), half), 3);
        QCOMPARE(batches.batch(name(1), 1), QByteArray());
        QVERIFY(batches.reachesBackTo(name(1), 1));
        QVERIFY(!batches.reachesBackTo(name(1), 4));
    }

    void streamGoesOnWhereItBroke() {
        RawClient first(m_device->port());
        const QByteArray begin = openStream(first, subscription());
        QVERIFY(begin.startsWith("retry: "));
        const QByteArray queue = begin.mid(begin.indexOf("id: ") + 4, 38);
        QVERIFY2(begin.endsWith("event: queue\nid: " + queue + "/0\ndata: \"" + queue + "\"\n\n"),
                 begin.constData());
        setVolume(31);
        QCOMPARE(readEvent(first), streamEvent(queue, 1, 31));
        first.abort();
        settle();
        setVolume(32);

        const auto resume = [&](const QByteArray& place) {
            RawClient client(m_device->port());
            const QByteArray retry = openStream(client, subscription(), place);
            return retry.contains("event: queue") ? retry : readEvent(client);
        };
        QCOMPARE(resume(queue + "/0"), streamEvent(queue, 1, 31));
        RawClient second(m_device->port());
        openStream(second, "queueId=" + queue, queue + "/0");
        QCOMPARE(readEvent(second), streamEvent(queue, 1, 31));
        QCOMPARE(readEvent(second), streamEvent(queue, 2, 32));
        QCOMPARE(resume(queue + "/1"), streamEvent(queue, 2, 32));
        for (const QByteArray& unknown : {queue + "/3", queue + "/-1", queue, QByteArray("x/0")})
            QVERIFY2(resume(unknown).contains("event: queue\n"), unknown.constData());
    }

    void streamEndsWhenAnotherOneGetsItsEvents() {
        const QByteArray queue = subscribe("player:player/volume");
        RawClient first(m_device->port());
        openStream(first, "queueId=" + queue);
        RawClient second(m_device->port());
        openStream(second, "queueId=" + queue + "&timeout=1");
        QCOMPARE(first.readTo("0\r\n\r\n"), QByteArray("0\r\n\r\n"));
        QVERIFY(readEvent(second).endsWith("event: heartbeat\ndata: []\n\n"));
        QCOMPARE(poll(queue), QByteArray("[]\n"));
        QCOMPARE(second.readTo("0\r\n\r\n"), QByteArray("0\r\n\r\n"));
        const QByteArray accept = "Accept: text/event-stream\r\n";
        QCOMPARE(RawClient::get(m_device->port(), "/api/event/pollQueue?queueId=x", accept).body,
                 QByteArray("Unknown queue id!\n"));
    }

    void workerEndsWhileAPollWaits() {
        RawClient client(m_device->port());
        startPoll(client, subscribe("player:player/volume"));
        m_device.reset();
        QVERIFY(client.waitForClose());
    }

private:
    HttpReply request(const QByteArray& target, const QByteArray& body = {}) const {
        const QByteArray method = body.isEmpty() ? "GET" : "POST";
        return RawClient::request(m_device->port(), method, "/api/event/" + target,
                                  "Content-Type: application/json\r\n", body);
    }
    static QByteArray pathEntry(const QByteArray& path) { return "{\"path\":\"" + path + "\"}"; }
    // The identifier of a new queue that watches the path.
    QByteArray subscribe(const QByteArray& path) const {
        return request("modifyQueue", "{\"subscribe\":[" + pathEntry(path) + "]}").body.mid(1, 38);
    }
    QByteArray poll(const QByteArray& queue) const {
        return request("pollQueue?timeout=0&queueId=" + queue).body;
    }
    void startPoll(RawClient& client, const QByteArray& queue, const QByteArray& more = {}) const {
        client.send(RawClient::requestBytes("GET", "/api/event/pollQueue?queueId=" + queue + more));
        QVERIFY(client.read(1, 50).isEmpty());
    }
    static QByteArray subscription() {
        return "subscribe=%5B%7B%22path%22%3A%22player%3Aplayer/volume%22%7D%5D";
    }
    // Its first event, with what stands before it.
    QByteArray openStream(RawClient& client, const QByteArray& query,
                          const QByteArray& lastEventId = {}) const {
        client.send(RawClient::requestBytes("GET", "/api/event/pollQueue?" + query,
                                            "Accept: text/html, Text/Event-Stream;q=0.9\r\n"
                                            "Last-Event-ID: " +
                                                lastEventId + "\r\n"));
        const QByteArray head = client.readTo("\r\n\r\n");
        return head.contains("Content-Type: text/event-stream\r\n") ? readEvent(client) : head;
    }
    // A chunk.
    static QByteArray readEvent(RawClient& client) {
        client.readTo("\r\n");
        QByteArray event = client.readTo("\n\n");
        client.readTo("\r\n");
        return event;
    }
    static QByteArray volumeEvent(int volume) {
        return "{\"path\":\"player:player/volume\",\"value\":{\"i32_\":" +
               QByteArray::number(volume) + "}}";
    }
    static QByteArray streamEvent(const QByteArray& queue, int batch, int volume) {
        return "id: " + queue + '/' + QByteArray::number(batch) + "\ndata: [" +
               volumeEvent(volume) + "]\n\n";
    }
    void setVolume(int volume) const {
        PlixValue value;
        value.setI32_(volume);
        m_device->worker("player").setValue("player:player/volume", value);
    }

    std::unique_ptr<TestDevice> m_device;
};

QTEST_GUILESS_MAIN(TestEventResponder)
#include "test_eventresponder.moc"
