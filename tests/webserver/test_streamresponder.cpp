// SPDX-License-Identifier: MIT
#include "core/plixhttprequest.h"
#include "handlers/responderhandler.h"
#include "rawclient.h"
#include "responders/responderfactory.h"
#include "responders/stream/streamresponder.h"
#include "table.h"
#include "testdevice.h"

#include <QtTest>

#include <csignal>
#include <future>
#include <poll.h>
#include <sys/stat.h>

namespace {

// A worker that answers HTTP requests as the test says, and writes into the pipe from a thread of
// its own.
struct Producer : CMNodesWorker {
    Producer() : CMNodesWorker({}, QStringLiteral("producer")) {}

    void setDataRequest(const CMSetDataRequest& request) override {
        last = request;
        pipe = PlixHttpRequest(request.value.toHash()).pipe();
        if (write)
            writing = std::async(std::launch::async, [write = write, file = pipe] {
                QFile opened(file);
                opened.open(QIODevice::WriteOnly | QIODevice::ExistingOnly | QIODevice::Unbuffered);
                write(opened);
            });
        if (answers)
            request.reply.finish(reply);
    }

    QVariantHash reply{{"status", 200}};
    bool answers = true;
    std::function<void(QFile& pipe)> write;
    std::future<void> writing;
    CMSetDataRequest last;
    QString pipe;
};

const QByteArray target = "/api/stream/producer:/x";

// A producer, a server that relays its streams, and a client.
struct Relay {
    CMRootWorker root;
    Producer producer;
    TestServer server;
    RawClient client{server.port()};

    explicit Relay(int patienceMs = StreamResponder::defaultPatienceMs) {
        server.add("/", new ResponderHandler(
                            makeDefaultResponderFactory<StreamResponder>(patienceMs), {}, nullptr));
    }
    void send(const QByteArray& method = "GET") {
        client.send(RawClient::requestBytes(method, target));
    }
    HttpReply get() {
        send();
        return client.readReply();
    }
    bool hasPipe() const { return QFileInfo::exists(producer.pipe); }
};

} // namespace

class TestStreamResponder : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { signal(SIGPIPE, SIG_IGN); }
    void relaysBytes_data() {
        // How many bytes are written, and how many at a time; the length that is announced.
        addRows(R"(
megabytes in chunks                 |4194304|65536|
megabytes of known length           |4194304|65536|4194304
one byte at a time                  |3000   |1    |
closed at once                      |0      |1    |
dies at once                        |0      |1    |10
dies in the middle                  |50000  |65536|100000
more than announced                 |500000 |65536|1500
more than announced, within a chunk |20     |65536|10
negative length                     |1500   |65536|-5
)");
    }
    void relaysBytes() {
        QFETCH(const QByteArrayList, fields);
        const QByteArray bytes = noise(fields[0].toInt());
        const int step = fields[1].toInt();
        const QByteArray announced = fields[2];
        const bool hasLength = !announced.isEmpty() && announced.toInt() >= 0;
        for (const QByteArray version : {"1.1", "1.0"}) {
            Relay relay;
            relay.producer.write = [&](QFile& pipe) {
                for (int at = 0; at < bytes.size(); at += step)
                    pipe.write(bytes.mid(at, step));
            };
            if (!announced.isEmpty())
                relay.producer.reply.insert("contentLength", announced.toInt());
            relay.client.send("GET " + target + " HTTP/" + version + "\r\nHost: localhost\r\n\r\n");
            const HttpReply reply = relay.client.readReply();
            QCOMPARE(reply.status, 200);
            QCOMPARE(reply.isChunked(), !hasLength && version == "1.1");
            QCOMPARE(reply.header("Content-Length"), hasLength ? announced : QByteArray());
            QCOMPARE(reply.header("Accept-Ranges"), hasLength ? QByteArray("none") : QByteArray());
            QVERIFY(reply.body == (hasLength ? bytes.left(announced.toInt()) : bytes));
            QTRY_VERIFY(!relay.hasPipe());
            // Only a connection whose response is whole may go on.
            if (version == "1.0" || (hasLength && bytes.size() < announced.toInt())) {
                QVERIFY(relay.client.waitForClose());
            } else {
                relay.client.send(RawClient::requestBytes("GET", "/api/stream/nobody:/x"));
                QCOMPARE(relay.client.readReply().status, 501);
            }
        }
    }

    void asksTheWorker() {
        Relay relay;
        relay.producer.answers = false;
        relay.client.send(RawClient::requestBytes("POST", "/api/stream/producer:/a%20b?c=d+e",
                                                  "Content-Type: application/json\r\n",
                                                  R"({"f": 1})"));
        QTRY_VERIFY(relay.hasPipe());
        QVERIFY((QFileInfo(relay.producer.pipe).permissions() & QFile::Permissions(0x77)) == 0);
        const PlixHttpRequest request(relay.producer.last.value.toHash());
        QCOMPARE(request.data().variable("QUERY_STRING").toString(), QString("c=d%20e"));
        QCOMPARE(request.data().variable("REMOTE_ADDR").toString(), QString("127.0.0.1"));
        QCOMPARE(request.data().params().value("f").toInt(), 1);
        relay.producer.last.reply.finish(QVariantHash{{"status", 404}});
        QCOMPARE(relay.client.readReply().status, 404);
    }

    void servesLocalFile() {
        // Its digest takes longer than the worker may take to answer.
        QTemporaryDir folder;
        const QString name = folder.filePath("local");
        writeFile(name, "begin");
        QVERIFY(QFile::resize(name, 64 << 20));
        Relay relay(1);
        relay.producer.reply.insert("localFile", name);
        relay.producer.reply.insert("headers", QVariantHash{{"Cache-Control", "immutable"}});
        relay.client.send(RawClient::requestBytes("GET", target, "Range: bytes=0-4\r\n"));
        const HttpReply reply = relay.client.readReply();
        QCOMPARE(reply.body, QByteArray("begin"));
        QCOMPARE(reply.header("Cache-Control"), QByteArray("immutable"));
        QVERIFY(!relay.hasPipe());
    }

    void setsStatusAndHeaders() {
        const auto with = [](const QString& name, const QVariant& value) {
            return QVariantHash{
                {"status", 200}, {"contentLength", 0}, {"headers", QVariantHash{{name, value}}}};
        };
        const QVector<std::tuple<QByteArray, QVariantHash, int, QByteArray, QByteArray>> rows{
            {"GET", {{"status", 404}, {"contentType", "a/b"}}, 404, "Content-Type", "a/b"},
            {"GET", {{"status", 404}, {"contentType", "a\r\nX-Evil: 1"}}, 404, "X-Evil", {}},
            {"GET", with("X-Track", "one\ttwo"), 200, "X-Track", "one\ttwo"},
            {"GET", with("X-Track", "a\r\nX-Evil: 1"), 200, "X-Track", {}},
            {"GET", with("X-Track", QString::fromLatin1("a\0b", 3)), 200, "X-Track", {}},
            {"GET", with("X-Track: a\r\nX-Evil", "1"), 200, "X-Track", {}},
            {"GET", with("X-Evil: 1 X-Track", "1"), 200, "X-Evil", {}},
            {"GET", with("", "X-Evil: 1"), 200, "", {}},
            {"GET", with("content-LENGTH", "1"), 200, "Content-Length", "0"},
            {"GET", with("Transfer-Encoding", "chunked"), 200, "Transfer-Encoding", {}},
            {"GET", {{"status", 204}}, 204, "Content-Length", {}},
            {"HEAD", {{"status", 200}}, 200, "Content-Type", "application/octet-stream"},
            {"GET", {{"status", 100}}, 502, "Content-Type", {}},
        };
        for (const auto& [method, answer, status, name, value] : rows) {
            Relay relay;
            relay.producer.reply = answer;
            // The second request shows that nothing of the first answer is left behind.
            for (int i = 0; i < 2; ++i) {
                relay.send(method);
                const HttpReply reply = relay.client.readReply(method == "HEAD");
                QCOMPARE(reply.status, status);
                QCOMPARE(reply.header(name), value);
                QVERIFY(!reply.head.contains("X-Evil"));
                QCOMPARE(reply.body, QByteArray());
                QTRY_VERIFY(!relay.hasPipe());
            }
        }
    }

    void clientStopsProducer() {
        std::atomic<qint64> written = 0;
        Relay relay;
        relay.producer.write = [&, bytes = noise(65536)](QFile& pipe) {
            while (pipe.write(bytes) == bytes.size())
                written += bytes.size();
        };
        relay.client.socket().setReadBufferSize(1);
        relay.send();
        // The buffers of both sockets and of the pipe fill up; then nothing moves.
        qint64 before = -1;
        const auto stands = [&] {
            QTest::qWait(200);
            return std::exchange(before, written.load()) == written.load() && before > 0;
        };
        QTRY_VERIFY_WITH_TIMEOUT(stands(), 20000);
        QVERIFY2(written < 20 << 20, qPrintable(QString::number(written)));
        relay.client.abort();
        QTRY_VERIFY(!relay.hasPipe());
    }

    void serverEnds() {
        // While streaming, and before the answer.
        for (const bool answers : {true, false}) {
            Relay relay;
            relay.producer.answers = answers;
            // A writer that opens the pipe while it goes would wait for ever.
            if (answers)
                relay.producer.write = [](QFile& pipe) {
                    while (pipe.write(noise(100)) > 0)
                        continue;
                };
            relay.send();
            QTRY_VERIFY(!relay.producer.pipe.isEmpty());
            relay.client.read(answers ? 5000 : 0);
            relay.server.server().stop();
            // Without another turn of the event loop, as when the device stops.
            QVERIFY(!relay.hasPipe());
            relay.producer.last.reply.finish(relay.producer.reply);
        }
    }

    void doesNotWaitForEver() {
        // For an answer, for a writer, and for a client that has left.
        using Case = std::pair<bool, bool>;
        for (const auto& [answers, writes] :
             {Case(false, false), Case(true, false), Case(true, true)}) {
            Relay relay(200);
            relay.producer.answers = answers;
            relay.producer.reply.insert("contentLength", 9);
            if (writes)
                relay.producer.write = [](QFile& pipe) {
                    pollfd reader{pipe.handle(), 0, 0};
                    poll(&reader, 1, 5000);
                };
            relay.send();
            if (writes) {
                QTRY_VERIFY(!relay.producer.pipe.isEmpty());
            } else {
                const HttpReply reply = relay.client.readReply();
                QCOMPARE(reply.status, 504);
                QVERIFY(reply.isChunked() || reply.header("Content-Length") == "0");
            }
            relay.client.abort();
            QTRY_VERIFY(!relay.hasPipe());
            relay.producer.last.reply.finish(relay.producer.reply);
        }
    }

    void numberIsLimited() {
        Relay relay;
        relay.producer.answers = false;
        std::vector<std::unique_ptr<RawClient>> clients;
        for (int i = 0; i < StreamResponder::maximumStreams; ++i) {
            relay.producer.pipe.clear();
            clients.push_back(std::make_unique<RawClient>(relay.server.port()));
            clients.back()->send(RawClient::requestBytes("GET", target));
            QTRY_VERIFY(relay.hasPipe());
        }
        const HttpReply refused = relay.get();
        QCOMPARE(refused.status, 503);
        QVERIFY(refused.header("Retry-After").toInt() > 0);
        // Whoever leaves makes room.
        relay.producer.answers = true;
        relay.producer.reply["status"] = 404;
        clients.pop_back();
        QTRY_COMPARE(relay.get().status, 404);
    }

    void refusesForeignPipe() {
        Relay relay;
        srandom(1);
        const QString foreign = PlixHttpRequest::pipePrefix() + QString::number(random());
        QCOMPARE(mkfifo(qPrintable(foreign), 0666), 0);
        srandom(1);
        const HttpReply reply = relay.get();
        QVERIFY(QFile::remove(foreign));
        QCOMPARE(reply.body, QByteArray("ERROR: Unable to create pipe\n"));
        QVERIFY(reply.status >= 500);
        QVERIFY(relay.producer.pipe.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestStreamResponder)
#include "test_streamresponder.moc"
