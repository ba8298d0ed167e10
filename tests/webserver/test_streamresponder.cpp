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
        mode = mode_of(pipe);
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
    static int mode_of(const QString& path) {
        struct stat status {};
        return stat(qPrintable(path), &status) == 0 ? int(status.st_mode) : 0;
    }

    QVariantHash reply{{"status", 200}};
    bool answers = true;
    std::function<void(int descriptor)> write;
    CMSetDataRequest last;
    QString pipe;
    int mode = 0;
    std::atomic<bool> done = false;
    // What write() has put into the pipe so far.
    std::atomic<qint64> written = 0;

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

} // namespace

class TestStreamResponder : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { signal(SIGPIPE, SIG_IGN); }
    void relaysBytes_data();
    void relaysBytes();
    void asksTheWorker();
    void setsHeaders_data();
    void setsHeaders();
    void answersWithoutABody_data();
    void answersWithoutABody();
    void keepsToTheAnnouncedLength_data();
    void keepsToTheAnnouncedLength();
    void reportsRequestsThatFail();
    void servesLocalFile();
    void clientStopsProducer();
    void clientLeaves();
    void serverEnds_data();
    void serverEnds();
    void doesNotWaitForEver_data();
    void doesNotWaitForEver();
    void waitsForLateWriter();
    void refusesForeignPipe();
};

void TestStreamResponder::relaysBytes_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("step");
    QTest::addColumn<bool>("announced");
    QTest::newRow("megabytes in chunks") << noise(4 << 20) << 65536 << false;
    QTest::newRow("megabytes of known length") << noise(4 << 20) << 65536 << true;
    QTest::newRow("one byte at a time") << noise(3000) << 1 << false;
    QTest::newRow("one chunk exactly") << noise(1024) << 1024 << true;
    QTest::newRow("closed at once") << QByteArray() << 1 << false;
}

void TestStreamResponder::relaysBytes() {
    QFETCH(QByteArray, bytes);
    QFETCH(int, step);
    QFETCH(bool, announced);
    TestDevice device;
    Producer producer;
    producer.write = [&](int descriptor) { writeAll(descriptor, bytes, step); };
    if (announced)
        producer.reply.insert("contentLength", bytes.size());
    for (const QByteArray version : {"1.1", "1.0"}) {
        RawClient client(device.port());
        client.send("GET /api/stream/producer:/x HTTP/" + version + "\r\nHost: localhost\r\n\r\n");
        const HttpReply reply = client.readReply();
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.isChunked(), !announced && version == "1.1");
        QCOMPARE(reply.header("Content-Type"), QByteArray("application/octet-stream"));
        QVERIFY(reply.body == bytes);
        producer.join();
        QTRY_VERIFY(!QFileInfo::exists(producer.pipe));
    }
}

void TestStreamResponder::asksTheWorker() {
    TestDevice device;
    Producer producer;
    producer.reply.insert("status", 404);
    QCOMPARE(RawClient::get(device.port(), "/api/stream/producer:/x").status, 404);
    RawClient::request(device.port(), "POST", "/api/stream/producer:/a%20b?c=d+e",
                       "Content-Type: application/json\r\n", R"({"f": 1})");
    QCOMPARE(producer.last.path.toEncoded(), QStringLiteral("producer:/a b"));
    QCOMPARE(producer.last.role, PlixRoles::HttpRequest());
    const PlixHttpRequest request(producer.last.value.toHash());
    QCOMPARE(request.data().variable("QUERY_STRING").toString(), QStringLiteral("c=d%20e"));
    QCOMPARE(request.data().variable("REMOTE_ADDR").toString(), QStringLiteral("127.0.0.1"));
    QCOMPARE(request.data().params().value("f").toInt(), 1);
    QVERIFY(request.hasStreamPipe());
    QCOMPARE(producer.mode, S_IFIFO | 0600);
}

void TestStreamResponder::setsHeaders_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("plain") << "X-Track" << QVariant("one\ttwo") << QByteArray("one\ttwo");
    QTest::newRow("number") << "X-Track" << QVariant(7) << QByteArray("7");
    QTest::newRow("line break in value") << "X-Track" << QVariant("a\r\nX-Evil: 1") << QByteArray();
    QTest::newRow("bare line feed") << "X-Track" << QVariant("a\nX-Evil: 1") << QByteArray();
    QTest::newRow("NUL in value") << "X-Track" << QVariant(QString::fromLatin1("a\0b", 3))
                                  << QByteArray();
    QTest::newRow("line break in name") << "X-Track: a\r\nX-Evil" << QVariant("1") << QByteArray();
    QTest::newRow("colon in name") << "X-Evil: 1 X-Track" << QVariant("1") << QByteArray();
    QTest::newRow("no name") << "" << QVariant("X-Evil: 1") << QByteArray();
    QTest::newRow("length") << "content-LENGTH" << QVariant("1") << QByteArray();
    QTest::newRow("connection") << "Connection" << QVariant("close") << QByteArray();
}

void TestStreamResponder::setsHeaders() {
    QFETCH(QString, name);
    QFETCH(QVariant, value);
    QFETCH(QByteArray, sent);
    TestDevice device;
    Producer producer;
    producer.write = [](int descriptor) { writeAll(descriptor, "body"); };
    producer.reply.insert("headers", QVariantHash{{name, value}});
    const HttpReply reply = RawClient::get(device.port(), "/api/stream/producer:/x");
    QCOMPARE(reply.body, QByteArray("body"));
    QCOMPARE(reply.header(sent.isNull() ? name.toUtf8() : QByteArray("X-Track")), sent);
    QVERIFY(reply.header("X-Evil").isNull());
    QVERIFY(!reply.head.contains("X-Evil"));
}

void TestStreamResponder::answersWithoutABody_data() {
    QTest::addColumn<QVariantHash>("workerReply");
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("type");
    const auto row = [](const char* name, const QVariantHash& reply, int status,
                        const char* method = "GET", const char* type = "application/octet-stream") {
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

void TestStreamResponder::answersWithoutABody() {
    QFETCH(QVariantHash, workerReply);
    QFETCH(QByteArray, method);
    TestDevice device;
    Producer producer;
    producer.reply = workerReply;
    RawClient client(device.port());
    // The second request shows that nothing of the first answer is left on the connection.
    for (int i = 0; i < 2; ++i) {
        client.send(RawClient::requestBytes(method, "/api/stream/producer:/x"));
        const HttpReply reply = client.readReply(method == "HEAD");
        QTEST(reply.status, "status");
        QTEST(reply.header("Content-Type"), "type");
        QCOMPARE(reply.body, QByteArray());
        QTRY_VERIFY(!QFileInfo::exists(producer.pipe));
    }
}

void TestStreamResponder::keepsToTheAnnouncedLength_data() {
    QTest::addColumn<int>("announced");
    QTest::addColumn<int>("written");
    QTest::newRow("nothing of it") << 10 << 0;
    QTest::newRow("less") << 100000 << 50000;
    QTest::newRow("more") << 1500 << 500000;
    QTest::newRow("more within a chunk") << 10 << 20;
    QTest::newRow("negative") << -5 << 1500;
}

void TestStreamResponder::keepsToTheAnnouncedLength() {
    QFETCH(int, announced);
    QFETCH(int, written);
    TestDevice device;
    Producer producer;
    const QByteArray bytes = noise(written);
    producer.write = [&](int descriptor) { writeAll(descriptor, bytes); };
    producer.reply.insert("contentLength", announced);
    RawClient client(device.port());
    client.send(RawClient::requestBytes("GET", "/api/stream/producer:/x"));
    const HttpReply reply = client.readReply();
    QCOMPARE(reply.header("Content-Length"),
             announced < 0 ? QByteArray() : QByteArray::number(announced));
    QVERIFY(reply.body == (announced < 0 ? bytes : bytes.left(announced)));
    // Only a connection whose response is whole may go on.
    if (written < announced) {
        QVERIFY(client.waitForClose());
    } else {
        client.send(RawClient::requestBytes("GET", "/api/stream/nobody:/x"));
        QCOMPARE(client.readReply().status, 501);
    }
}

void TestStreamResponder::reportsRequestsThatFail() {
    TestDevice device({{"plain:/node", QVariantHash{{"title", "Plain"}}}});
    for (const char* path : {"", "nobody:/x", "plain:/none", "plain:/node"}) {
        const HttpReply reply = RawClient::get(device.port(), QByteArray("/api/stream/") + path);
        QCOMPARE(reply.status, 501);
        QCOMPARE(reply.body, QByteArray());
    }
}

void TestStreamResponder::servesLocalFile() {
    TestDevice device;
    Producer producer;
    device.writeFile("track.bin", "local");
    producer.reply = {{"status", 200},
                      {"localFile", device.root() + "/track.bin"},
                      {"contentType", "audio/x-test"}};
    const HttpReply reply = RawClient::get(device.port(), "/api/stream/producer:/x");
    QCOMPARE(reply.status, 200);
    QCOMPARE(reply.body, QByteArray("local"));
    QCOMPARE(reply.header("Content-Type"), QByteArray("audio/x-test"));
    QTRY_VERIFY(!QFileInfo::exists(producer.pipe));
}

void TestStreamResponder::clientStopsProducer() {
    TestDevice device;
    Producer producer;
    const QByteArray bytes = noise(65536);
    producer.write = [&](int descriptor) {
        while (writeAll(descriptor, bytes))
            producer.written += bytes.size();
    };
    {
        RawClient client(device.port());
        client.socket().setReadBufferSize(1);
        client.send(RawClient::requestBytes("GET", "/api/stream/producer:/x"));
        // The buffers of both sockets and of the pipe fill up; then nothing moves.
        qint64 before = -1;
        QTRY_VERIFY_WITH_TIMEOUT(
            producer.written > 0 &&
                (QTest::qWait(200),
                 std::exchange(before, producer.written.load()) == producer.written.load()),
            20000);
        QVERIFY2(producer.written < 20 << 20, qPrintable(QString::number(producer.written)));
    }
    QTRY_VERIFY(producer.done);
}

void TestStreamResponder::clientLeaves() {
    TestDevice device;
    Producer producer;
    producer.write = [&](int descriptor) {
        while (writeAll(descriptor, "tick"))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    };
    {
        RawClient client(device.port());
        client.send(RawClient::requestBytes("GET", "/api/stream/producer:/x"));
        QVERIFY(client.read(500).contains("tick"));
    }
    QTRY_VERIFY(producer.done);
    QVERIFY(!QFileInfo::exists(producer.pipe));
}

void TestStreamResponder::serverEnds_data() {
    QTest::addColumn<bool>("answers");
    QTest::newRow("before the answer") << false;
    QTest::newRow("while streaming") << true;
}

void TestStreamResponder::serverEnds() {
    QFETCH(bool, answers);
    CMRootWorker root;
    Producer producer;
    producer.answers = answers;
    producer.write = [&](int descriptor) {
        while (writeAll(descriptor, noise(100)))
            continue;
    };
    ResponderHandler handler(new DefaultResponderFactory<StreamResponder>, QString(), nullptr);
    auto server = std::make_unique<Server>(0, QString(), QString(), false, nullptr);
    server->addHandler("/api/stream/", &handler);
    server->start();
    RawClient client(server->listeningPort());
    client.send(RawClient::requestBytes("GET", "/api/stream/producer:/x"));
    QTRY_VERIFY(!producer.pipe.isEmpty());
    client.read(answers ? 5000 : 0);
    server.reset();
    // Without another turn of the event loop, as when the device stops.
    QVERIFY(!QFileInfo::exists(producer.pipe));
    producer.last.reply.finish(producer.reply);
    producer.join();
    settle();
}

void TestStreamResponder::doesNotWaitForEver_data() {
    QTest::addColumn<bool>("answers");
    QTest::addColumn<bool>("writes");
    QTest::newRow("for an answer") << false << false;
    QTest::newRow("for a writer") << true << false;
    QTest::newRow("for a client that has left") << true << true;
}

void TestStreamResponder::doesNotWaitForEver() {
    QFETCH(bool, answers);
    QFETCH(bool, writes);
    CMRootWorker root;
    Producer producer;
    producer.answers = answers;
    if (writes)
        producer.write = [&](int descriptor) {
            pollfd reader{descriptor, 0, 0};
            poll(&reader, 1, 5000);
        };
    TestServer server;
    server.add("/api/stream/",
               new ResponderHandler(new DefaultResponderFactory<StreamResponder, int>(200),
                                    QString(), nullptr));
    {
        RawClient client(server.port());
        client.send(RawClient::requestBytes("GET", "/api/stream/producer:/x"));
        if (writes)
            QTRY_VERIFY(!producer.pipe.isEmpty());
        else
            QCOMPARE(client.readReply().status, 504);
    }
    QTRY_VERIFY(!QFileInfo::exists(producer.pipe));
    producer.last.reply.finish(producer.reply);
}

void TestStreamResponder::waitsForLateWriter() {
    TestDevice device;
    Producer producer;
    RawClient client(device.port());
    client.send(RawClient::requestBytes("GET", "/api/stream/producer:/x"));
    QTRY_VERIFY(!producer.pipe.isEmpty());
    // Some turns of the event loop in which a reader would see an end of file.
    settle();
    const int descriptor = ::open(qPrintable(producer.pipe), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    QVERIFY(descriptor >= 0);
    settle();
    QVERIFY(writeAll(descriptor, "late"));
    ::close(descriptor);
    QCOMPARE(client.readReply().body, QByteArray("late"));
}

void TestStreamResponder::refusesForeignPipe() {
    TestDevice device;
    Producer producer;
    producer.reply.insert("status", 404);
    srandom(1);
    const QString foreign = PlixHttpRequest::pipePrefix() + QString::number(random());
    QCOMPARE(mkfifo(qPrintable(foreign), 0666), 0);
    srandom(1);
    const HttpReply reply = RawClient::get(device.port(), "/api/stream/producer:/x");
    QCOMPARE(reply.body, QByteArray("ERROR: Unable to create pipe\n"));
    QVERIFY(reply.status >= 500);
    QVERIFY(producer.pipe.isEmpty());
    QVERIFY(QFile::remove(foreign));
    QCOMPARE(RawClient::get(device.port(), "/api/stream/producer:/x").status, 404);
}

QTEST_GUILESS_MAIN(TestStreamResponder)
#include "test_streamresponder.moc"
