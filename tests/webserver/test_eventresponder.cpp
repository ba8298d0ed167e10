// SPDX-License-Identifier: MIT
#include "core/model/cmeventqueuemanager.h"
#include "rawclient.h"
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
    void setVolume(int volume) const {
        PlixValue value;
        value.setI32_(volume);
        m_device->worker("player").setValue("player:player/volume", value);
    }

    std::unique_ptr<TestDevice> m_device;
};

QTEST_GUILESS_MAIN(TestEventResponder)
#include "test_eventresponder.moc"
