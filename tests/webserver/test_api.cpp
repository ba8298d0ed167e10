#include "core/plixjson.h"
#include "rawclient.h"
#include "testdevice.h"

#include <QTest>
#include <QUrl>

namespace {

QVariantHash volume() {
    return {{"title", "Volume"},
            {"value", QVariantHash{{"i32_", 30}}},
            {"minimum", 0},
            {"maximum", 100}};
}

QVariantHash nodes() {
    const QVariantList rows{QVariantHash{{"title", "One"}, {"value", "a"}},
                            QVariantHash{{"title", "Two"}, {"value", "b"}, {"internal", true}},
                            QVariantHash{{"title", "Three"}, {"value", "c"}}};
    return {{"player:player/volume", volume()},
            {"player:player/play", QVariantHash{{"title", "Play"}}},
            {"ui:/list", QVariantHash{{"title", "List"}, {"rows", rows}}},
            {"ui:secret", QVariantHash{{"value", "hush"}, {"internal", true}}},
            {"ui:fixed", QVariantHash{{"value", "stays"}, {"modifiable", false}}},
            {"ui:free", QVariantHash{{"value", "text"}}},
            {"settings:/webserver/strictPath",
             QVariantHash{{"value", QVariantHash{{"bool_", false}}}, {"internal", true}}}};
}

QVariant json(const QByteArray& text) {
    PlixError error;
    const QVariant value = PlixJson::parse(text, error);
    return error.isEmpty() ? value : QVariant("no JSON: " + error.message());
}

QByteArray errorBody(const QByteArray& name, const QByteArray& message) {
    return R"({"error":{"message":")" + message + R"(","name":")" + name + R"(","title":"Error"}})";
}

} // namespace

class TestApi : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_device = std::make_unique<TestDevice>(nodes()); }
    void cleanupTestCase() { m_device.reset(); }
    void answers_data();
    void answers();
    void posts_data();
    void posts();
    void writesAreReadBack();
    void hugeNumbersStayExact();
    void strictPostsNeedJson();
    void replyAfterTheResponderIsGone();

private:
    std::unique_ptr<TestDevice> m_device;
};

void TestApi::answers_data() {
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    const auto row = [](const char* name, const QByteArray& target, int status,
                        const QByteArray& body) {
        QTest::newRow(name) << target << status << body;
    };
    const auto error = [&row](const char* name, const QByteArray& target, const QByteArray& message,
                              const QByteArray& errorName = "Error") {
        row(name, target, 500, errorBody(errorName, message));
    };

    row("value", "/api/getData?path=player:player/volume&roles=title,value", 200,
        R"(["Volume",{"i32_":30}])");
    row("structure", "/api/getData?path=player:player/volume&roles=title,maximum&type=structure",
        200, R"({"maximum":100,"title":"Volume"})");
    row("type in another case", "/api/getData?path=ui:free&roles=value&type=Structure", 200,
        R"(["text"])");
    row("legacy path", "/api/getData?path=/player/volume&roles=title", 200, R"(["Volume"])");
    row("encoded", "/api/getData?path=player%3Aplayer%2Fvolume&roles=title%2Cvalue", 200,
        R"(["Volume",{"i32_":30}])");
    row("role that the node does not have", "/api/getData?path=ui:free&roles=icon,,value", 200,
        R"([null,null,"text"])");
    row("@all among others is a role name", "/api/getData?path=ui:free&roles=@all,value", 200,
        R"([null,"text"])");
    row("rows", "/api/getRows?path=ui:/list&roles=value,title&from=0&to=9", 200,
        R"json({"count":3,"rows":[["a","One"],[null,"(Node is internal)"],["c","Three"]],"version":1})json");
    row("rows without titles", "/api/getRows?path=ui:/list&roles=value&from=1&to=1", 200,
        R"({"count":3,"rows":[[null]],"version":1})");
    row("rows by role", "/api/getRows?path=ui:/list&roles=title&from=2&to=2&type=structure", 200,
        R"({"count":3,"rows":[{"title":"Three"}],"version":1})");
    row("no rows", "/api/getRows?path=ui:/list&roles=title&from=2&to=1", 200,
        R"({"count":3,"rows":[],"version":1})");

    error("unknown method", "/api/other", "Error: wrong method!");
    error("method in another case", "/api/getdata?path=ui:free&roles=value",
          "Error: wrong method!");
    error("prefix of the event handler", "/api/eventx", "Error: wrong method!");
    error("missing roles", "/api/getData?path=ui:free", "missing path or roles!");
    error("missing to", "/api/getRows?path=ui:/list&roles=title&from=0",
          "missing path, roles, from or to!");
    error("missing value", "/api/setData?path=ui:free&role=value",
          "missing path or role or value!");
    error("number beyond 32 bits", "/api/getRows?path=ui:/list&roles=title&from=0&to=4294967296",
          "invalid from or to or version!");
    error("no number", "/api/getRows?path=ui:/list&roles=title&from=0&to=1&version=x",
          "invalid from or to or version!");
    error("internal node", "/api/getData?path=ui:secret&roles=value", "Node is internal",
          "getData failed");
    error("writing an internal node", "/api/setData?path=ui:secret&role=value&value=1",
          "Node is internal", "setData failed");
    error("strict setting is internal",
          "/api/getData?path=settings:/webserver/strictPath&roles=value", "Node is internal",
          "getData failed");
}

void TestApi::answers() {
    QFETCH(QByteArray, target);
    const HttpReply reply = RawClient::get(m_device->port(), target);
    QTEST(reply.body, "body");
    QTEST(reply.status, "status");
    QCOMPARE(reply.header("Content-Type"), QByteArray("application/json"));
}

void TestApi::posts_data() {
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("getData") << QByteArray("/api/getData")
                             << QByteArray(R"({"path":"ui:free","roles":["value","title"]})")
                             << QByteArray(R"(["text",null])");
    QTest::newRow("getRows with digits as text")
        << QByteArray("/api/getRows")
        << QByteArray(R"({"path":"ui:/list","roles":["title"],"from":"0","to":0,"version":1})")
        << QByteArray(R"({"count":3,"rows":[["One"]],"version":1})");
    QTest::newRow("number beyond 32 bits")
        << QByteArray("/api/getRows")
        << QByteArray(R"({"path":"ui:/list","roles":["title"],"from":0,"to":4294967296})")
        << errorBody("Error", "invalid from or to or version!");
    QTest::newRow("fraction") << QByteArray("/api/getRows")
                              << QByteArray(
                                     R"({"path":"ui:/list","roles":["title"],"from":0.5,"to":1})")
                              << errorBody("Error", "invalid from or to or version!");
    QTest::newRow("deprecated name of the role")
        << QByteArray("/api/setData")
        << QByteArray(R"({"path":"ui:free","roles":"value","value":[1]})") << QByteArray("[1]");
    QTest::newRow("null is a value")
        << QByteArray("/api/setData")
        << QByteArray(R"({"path":"ui:free","role":"value","value":null})") << QByteArray("null");
    QTest::newRow("cut off") << QByteArray("/api/setData") << QByteArray(R"({"path":"ui:free","ro)")
                             << errorBody("Error", "missing path or role or value!");
    QTest::newRow("nested deep") << QByteArray("/api/setData")
                                 << R"({"path":"ui:free","role":"value","value":)" +
                                        QByteArray(100000, '[')
                                 << errorBody("Error", "missing path or role or value!");
    QTest::newRow("no object") << QByteArray("/api/getData") << QByteArray("7")
                               << errorBody("Error", "missing path or roles!");
}

void TestApi::posts() {
    QFETCH(QByteArray, target);
    QFETCH(QByteArray, body);
    const HttpReply reply = RawClient::request(m_device->port(), "POST", target,
                                               "Content-Type: application/json\r\n", body);
    QTEST(reply.body, "answer");
    QCOMPARE(RawClient::request(m_device->port(), "PUT", target, {}, "x").body,
             errorBody("Error", "Invalid method!"));
}

void TestApi::writesAreReadBack() {
    const auto set = [this](const QByteArray& arguments) {
        return RawClient::get(m_device->port(), "/api/setData?" + arguments);
    };
    const auto errorName = [&set](const QByteArray& arguments) {
        const HttpReply reply = set(arguments);
        return reply.status != 500
                   ? "answered " + reply.body
                   : json(reply.body).toHash()["error"].toHash()["name"].toByteArray();
    };
    QCOMPARE(set("path=player:player/volume&role=value&value=25").body,
             QByteArray(R"({"i32_":25})"));
    QCOMPARE(set("path=/player/volume&role=value&value=%7B%22i64_%22:26%7D").body,
             QByteArray(R"({"i32_":26})"));
    QCOMPARE(
        RawClient::get(m_device->port(), "/api/getData?path=player:player/volume&roles=value").body,
        QByteArray(R"([{"i32_":26}])"));

    QCOMPARE(errorName("path=player:player/volume&role=value&value=101"), QByteArray("outOfRange"));
    QCOMPARE(errorName("path=player:player/volume&role=value&value=%22x%22"),
             QByteArray("typeMismatch"));
    QCOMPARE(errorName("path=player:player/volume&role=value&value=1.5"),
             QByteArray("typeMismatch"));
    QCOMPARE(errorName("path=ui:fixed&role=value&value=1"), QByteArray("notModifiable"));
    QCOMPARE(errorName("path=ui:free&role=internal&value=true"), QByteArray("notModifiable"));
    QCOMPARE(errorName("path=ui:nothing&role=value&value=1"), QByteArray("nodeNotFound"));
    QCOMPARE(errorName("path=nobody:x&role=value&value=1"), QByteArray("workerNotFound"));
    QCOMPARE(errorName("path=&role=value&value=1"), QByteArray("workerNotFound"));
    QCOMPARE(errorName("path=/other&role=value&value=1"), QByteArray("workerNotFound"));
    QVERIFY(set("path=ui:free&role=value&value=bare").body.contains("Unable to parse value: "));
    // Activation is tried even where the node cannot say whether it is internal.
    QCOMPARE(errorName("path=ui:nothing&role=activate&value=1"), QByteArray("nodeNotFound"));
    QCOMPARE(set("path=player:player/play&role=activate&value=true").body, QByteArray("true"));

    const HttpReply all =
        RawClient::get(m_device->port(), "/api/getData?path=/player/volume&roles=@all");
    QCOMPARE(json(all.body).toHash().size(), 10);
    QVERIFY(!all.body.contains("internal"));
}

void TestApi::hugeNumbersStayExact() {
    for (const QByteArray text :
         {"9223372036854775807", "-9223372036854775808", "18446744073709551615", "0.1", "1e300",
          R"("\u0000\ud83d\ude00")"}) {
        const QByteArray target =
            "/api/setData?path=ui:free&role=value&value=" + text.toPercentEncoding();
        const HttpReply reply = RawClient::get(m_device->port(), target);
        QCOMPARE(reply.status, 200);
        QCOMPARE(json(reply.body), json(text));
    }
    for (const QByteArray text : {"%22%FF%22", "%22%5Cud800%22", "%5B1%5D%00", "1e999", ""}) {
        const HttpReply reply =
            RawClient::get(m_device->port(), "/api/setData?path=ui:free&role=value&value=" + text);
        // Percent-encoded rubbish becomes U+FFFD in the text before anything reads it.
        QCOMPARE(reply.status, text == "%22%FF%22" ? 200 : 500);
    }
}

void TestApi::strictPostsNeedJson() {
    TestDevice device({{"ui:free", QVariantHash{{"value", "text"}}},
                       {"settings:/webserver/strictPath",
                        QVariantHash{{"value", QVariantHash{{"bool_", true}}}}}});
    const QByteArray form = "Content-Type: application/x-www-form-urlencoded\r\n";
    const QByteArray body = "path=ui:free&role=value&value=1";
    QCOMPARE(RawClient::request(device.port(), "POST", "/api/setData", form, body).body,
             errorBody("Error", "invalid request content type"));
    QCOMPARE(RawClient::request(m_device->port(), "POST", "/api/setData", form, body).body,
             QByteArray(R"("1")"));
    QCOMPARE(RawClient::request(device.port(), "POST", "/api/setData",
                                "Content-Type: application/json\r\n",
                                R"({"path":"ui:free","role":"value","value":1})")
                 .body,
             QByteArray("1"));
}

namespace {

// A worker that answers when the test says so.
class SlowWorker : public CMNodesWorker {
public:
    using CMNodesWorker::CMNodesWorker;
    void getDataRequest(const CMGetDataRequest& request) override { requests.append(request); }
    QList<CMGetDataRequest> requests;
};

} // namespace

void TestApi::replyAfterTheResponderIsGone() {
    TestDevice device;
    SlowWorker slow({}, "slow");
    {
        RawClient client(device.port());
        client.send(RawClient::requestBytes("GET", "/api/getData?path=slow:x&roles=value"));
        QTRY_COMPARE(slow.requests.size(), 1);
        device.web().findChild<Server*>()->stop();
        QVERIFY(client.waitForClose());
        settle();
    }
    slow.requests[0].reply.finish({1, false});
    settle();

    device.web().findChild<Server*>()->start();
    RawClient client(device.port());
    client.send(RawClient::requestBytes("GET", "/api/getData?path=slow:x&roles=value"));
    QTRY_COMPARE(slow.requests.size(), 2);
    slow.requests[1].reply.finish({1, false});
    QCOMPARE(client.readReply().body, QByteArray("[1]"));
}

QTEST_GUILESS_MAIN(TestApi)
#include "test_api.moc"
