#include "core/model/cmroles.h"
#include "core/plixhttprequest.h"
#include "handlers/responderhandler.h"
#include "rawclient.h"
#include "responders/responderfactory.h"
#include "responders/streamresponder.h"
#include "testdevice.h"

#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

// A worker that answers HTTP requests as the test says, and writes into the pipe from a thread of
// its own.
class Producer : public CMNodesWorker {
public:
    Producer() : CMNodesWorker({}, QStringLiteral("producer")) {}
    ~Producer() override { join(); }

    void setDataRequest(const CMSetDataRequest& request) override {
        last = request;
        pipe = PlixHttpRequest(request.value.toHash()).pipe();
        struct stat status {};
        stat(qPrintable(pipe), &status);
        mode = int(status.st_mode);
        if (write)
            m_thread = std::thread([this, write = write] {
                const int descriptor = ::open(qPrintable(pipe), O_WRONLY | O_CLOEXEC);
                write(descriptor);
                ::close(descriptor);
                done = true;
            });
        if (answers)
            request.reply.finish(reply);
    }
    void join() {
        if (m_thread.joinable())
            m_thread.join();
    }

    QVariantHash reply{{"status", 200}};
    bool answers = true;
    std::function<void(int descriptor)> write;
    CMSetDataRequest last;
    QString pipe;
    int mode = 0;
    std::atomic<bool> done = false;

private:
    std::thread m_thread;
};

bool writeAll(int descriptor, const QByteArray& bytes, int step = 65536) {
    for (int at = 0; at < bytes.size();) {
        const ssize_t count =
            ::write(descriptor, bytes.constData() + at, size_t(qMin(step, bytes.size() - at)));
        if (count < 0)
            return false;
        at += int(count);
    }
    return true;
}

QByteArray noise(int size) {
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 state = 1;
    for (char& byte : bytes)
        byte = char((state = state * 1664525 + 1013904223) >> 24);
    return bytes;
}

const QByteArray target = "/api/stream/producer:/x";

// A producer, a device that relays its streams, and a client.
struct Relay {
    TestDevice device;
    Producer producer;
    RawClient client{device.port()};

    void send(const QByteArray& method = "GET") {
        client.send(RawClient::requestBytes(method, target));
    }
    HttpReply get() {
        send();
        return client.readReply();
    }
};

} // namespace

class TestStreamResponder : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { signal(SIGPIPE, SIG_IGN); }
    void relaysBytes_data() {
        QTest::addColumn<int>("written");
        QTest::addColumn<int>("step");
        QTest::addColumn<QVariant>("announced");
        const auto row = [](const char* name, int written, int step,
                            const QVariant& announced = {}) {
            QTest::newRow(name) << written << step << announced;
        };
        row("megabytes in chunks", 4 << 20, 65536);
        row("megabytes of known length", 4 << 20, 65536, 4 << 20);
        row("one byte at a time", 3000, 1);
        row("one chunk exactly", 1024, 1024, 1024);
        row("closed at once", 0, 1);
        row("dies at once", 0, 1, 10);
        row("dies in the middle", 50000, 65536, 100000);
        row("more than announced", 500000, 65536, 1500);
        row("more than announced, within a chunk", 20, 65536, 10);
        row("negative length", 1500, 65536, -5);
    }

    void relaysBytes() {
        QFETCH(int, written);
        QFETCH(int, step);
        QFETCH(QVariant, announced);
        const QByteArray bytes = noise(written);
        const bool hasLength = announced.isValid() && announced.toInt() >= 0;
        for (const QByteArray version : {"1.1", "1.0"}) {
            Relay relay;
            relay.producer.write = [&](int descriptor) { writeAll(descriptor, bytes, step); };
            if (announced.isValid())
                relay.producer.reply.insert("contentLength", announced);
            relay.client.send("GET " + target + " HTTP/" + version + "\r\nHost: localhost\r\n\r\n");
            const HttpReply reply = relay.client.readReply();
            QCOMPARE(reply.status, 200);
            QCOMPARE(reply.isChunked(), !hasLength && version == "1.1");
            QCOMPARE(reply.header("Content-Length"),
                     hasLength ? announced.toByteArray() : QByteArray());
            QCOMPARE(reply.header("Content-Type"), QByteArray("application/octet-stream"));
            QVERIFY(reply.body == (hasLength ? bytes.left(announced.toInt()) : bytes));
            relay.producer.join();
            QTRY_VERIFY(!QFileInfo::exists(relay.producer.pipe));
            // Only a connection whose response is whole may go on.
            if (version == "1.0" || (hasLength && written < announced.toInt())) {
                QVERIFY(relay.client.waitForClose());
            } else {
                relay.client.send(RawClient::requestBytes("GET", "/api/stream/nobody:/x"));
                QCOMPARE(relay.client.readReply().status, 501);
            }
        }
    }

    void asksTheWorker() {
        Relay relay;
        relay.producer.reply["status"] = 404;
        relay.client.send(RawClient::requestBytes("POST", "/api/stream/producer:/a%20b?c=d+e",
                                                  "Content-Type: application/json\r\n",
                                                  R"({"f": 1})"));
        QCOMPARE(relay.client.readReply().status, 404);
        QCOMPARE(relay.producer.last.path.toEncoded(), QString("producer:/a b"));
        QCOMPARE(relay.producer.last.role, PlixRoles::HttpRequest());
        const PlixHttpRequest request(relay.producer.last.value.toHash());
        QCOMPARE(request.data().variable("QUERY_STRING").toString(), QString("c=d%20e"));
        QCOMPARE(request.data().variable("REMOTE_ADDR").toString(), QString("127.0.0.1"));
        QCOMPARE(request.data().params().value("f").toInt(), 1);
        QVERIFY(request.hasStreamPipe());
        QCOMPARE(relay.producer.mode, S_IFIFO | 0600);
    }

    void setsHeaders() {
        const QVector<std::tuple<QString, QVariant, QByteArray>> rows{
            {"X-Track", "one\ttwo", "one\ttwo"},
            {"X-Track", 7, "7"},
            {"X-Track", "a\r\nX-Evil: 1", {}},
            {"X-Track", "a\nX-Evil: 1", {}},
            {"X-Track", QString::fromLatin1("a\0b", 3), {}},
            {"X-Track: a\r\nX-Evil", "1", {}},
            {"X-Evil: 1 X-Track", "1", {}},
            {"", "X-Evil: 1", {}},
            {"content-LENGTH", "1", {}},
            {"Connection", "close", {}}};
        for (const auto& [name, value, sent] : rows) {
            Relay relay;
            relay.producer.write = [](int descriptor) { writeAll(descriptor, "body"); };
            relay.producer.reply.insert("headers", QVariantHash{{name, value}});
            const HttpReply reply = relay.get();
            QCOMPARE(reply.body, QByteArray("body"));
            QCOMPARE(reply.header(name.toUtf8()), sent);
            QVERIFY(!reply.head.contains("X-Track: a"));
            QVERIFY(!reply.head.contains("X-Evil"));
        }
    }

    void answersWithoutABody_data() {
        QTest::addColumn<QVariantHash>("workerReply");
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("type");
        const auto row = [](const char* name, const QVariantHash& reply, int status,
                            const char* method = "GET",
                            const char* type = "application/octet-stream") {
            QTest::newRow(name) << reply << QByteArray(method) << status << QByteArray(type);
        };
        row("not found", {{"status", 404}, {"contentType", "a/b"}}, 404, "GET", "a/b");
        row("line break in type", {{"status", 404}, {"contentType", "a\r\nX-Evil: 1"}}, 404);
        row("no content", {{"status", 204}}, 204);
        row("length of nothing", {{"status", 200}, {"contentLength", 0}}, 200);
        row("HEAD", {{"status", 200}}, 200, "HEAD");
        row("interim status", {{"status", 100}}, 502, "GET", "");
        row("status beyond all", {{"status", 1000}}, 502, "GET", "");
#ifdef QT_NO_DEBUG // asserted against otherwise
        row("nothing", {}, 502, "GET", "");
        row("status that is no number", {{"status", QVariantHash()}}, 502, "GET", "");
#endif
    }

    void answersWithoutABody() {
        QFETCH(QByteArray, method);
        QFETCH(QVariantHash, workerReply);
        Relay relay;
        relay.producer.reply = workerReply;
        // The second request shows that nothing of the first answer is left on the connection.
        for (int i = 0; i < 2; ++i) {
            relay.send(method);
            const HttpReply reply = relay.client.readReply(method == "HEAD");
            QTEST(reply.status, "status");
            QTEST(reply.header("Content-Type"), "type");
            QCOMPARE(reply.body, QByteArray());
            QTRY_VERIFY(!QFileInfo::exists(relay.producer.pipe));
        }
    }

    void reportsRequestsThatFail() {
        TestDevice device({{"plain:/node", QVariantHash{{"title", "Plain"}}}});
        for (const char* path : {"", "nobody:/x", "plain:/none", "plain:/node"}) {
            const HttpReply reply =
                RawClient::get(device.port(), QByteArray("/api/stream/") + path);
            QCOMPARE(reply.status, 501);
            QCOMPARE(reply.body, QByteArray());
        }
    }

    void servesLocalFile() {
        Relay relay;
        relay.device.writeFile("track.bin", "local");
        relay.producer.reply.insert("localFile", relay.device.root() + "/track.bin");
        relay.producer.reply.insert("contentType", "audio/x-test");
        const HttpReply reply = relay.get();
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.body, QByteArray("local"));
        QCOMPARE(reply.header("Content-Type"), QByteArray("audio/x-test"));
        QTRY_VERIFY(!QFileInfo::exists(relay.producer.pipe));
    }

    void clientStopsProducer() {
        Relay relay;
        std::atomic<qint64> written = 0;
        relay.producer.write = [&, bytes = noise(65536)](int descriptor) {
            while (writeAll(descriptor, bytes))
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
        QTRY_VERIFY(relay.producer.done);
        QVERIFY(!QFileInfo::exists(relay.producer.pipe));
    }

    void serverEnds() {
        // While streaming, and before the answer.
        for (const bool answers : {true, false}) {
            CMRootWorker root;
            Producer producer;
            producer.answers = answers;
            producer.write = [](int descriptor) {
                while (writeAll(descriptor, noise(100)))
                    continue;
            };
            ResponderHandler handler(makeDefaultResponderFactory<StreamResponder>(), {}, nullptr);
            auto server = std::make_unique<Server>(0, QString(), QString(), false, nullptr);
            server->addHandler("/", &handler);
            server->start();
            RawClient client(server->listeningPort());
            client.send(RawClient::requestBytes("GET", target));
            QTRY_VERIFY(!producer.pipe.isEmpty());
            client.read(answers ? 5000 : 0);
            server.reset();
            // Without another turn of the event loop, as when the device stops.
            QVERIFY(!QFileInfo::exists(producer.pipe));
            producer.last.reply.finish(producer.reply);
            producer.join();
            settle();
        }
    }

    void doesNotWaitForEver() {
        // For an answer, for a writer, and for a client that has left.
        using Case = std::pair<bool, bool>;
        for (const auto& [answers, writes] :
             {Case(false, false), Case(true, false), Case(true, true)}) {
            CMRootWorker root;
            Producer producer;
            producer.answers = answers;
            if (writes)
                producer.write = [](int descriptor) {
                    pollfd reader{descriptor, 0, 0};
                    poll(&reader, 1, 5000);
                };
            TestServer server;
            server.add("/", new ResponderHandler(makeDefaultResponderFactory<StreamResponder>(200),
                                                 QString(), nullptr));
            RawClient client(server.port());
            client.send(RawClient::requestBytes("GET", target));
            if (writes)
                QTRY_VERIFY(!producer.pipe.isEmpty());
            else
                QCOMPARE(client.readReply().status, 504);
            client.abort();
            QTRY_VERIFY(!QFileInfo::exists(producer.pipe));
            producer.last.reply.finish(producer.reply);
        }
    }

    void waitsForLateWriter() {
        Relay relay;
        relay.send();
        QTRY_VERIFY(!relay.producer.pipe.isEmpty());
        // Some turns of the event loop in which a reader would see an end of file.
        settle();
        const int descriptor =
            ::open(qPrintable(relay.producer.pipe), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        QVERIFY(descriptor >= 0);
        settle();
        QVERIFY(writeAll(descriptor, "late"));
        ::close(descriptor);
        QCOMPARE(relay.client.readReply().body, QByteArray("late"));
    }

    void refusesForeignPipe() {
        Relay relay;
        relay.producer.reply["status"] = 404;
        srandom(1);
        const QString foreign = PlixHttpRequest::pipePrefix() + QString::number(random());
        QCOMPARE(mkfifo(qPrintable(foreign), 0666), 0);
        srandom(1);
        const HttpReply reply = relay.get();
        QVERIFY(QFile::remove(foreign));
        QCOMPARE(reply.body, QByteArray("ERROR: Unable to create pipe\n"));
        QVERIFY(reply.status >= 500);
        QVERIFY(relay.producer.pipe.isEmpty());
        QCOMPARE(relay.get().status, 404);
    }
};

QTEST_GUILESS_MAIN(TestStreamResponder)
#include "test_streamresponder.moc"
