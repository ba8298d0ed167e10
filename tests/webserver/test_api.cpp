#include "core/plixjson.h"
#include "rawclient.h"
#include "testdevice.h"

#include <QTest>
#include <QUrl>

namespace {

const char strictPath[] = "settings:/webserver/strictPath";

QVariantHash nodes() {
    const QVariantList rows{QVariantHash{{"title", "One"}, {"value", "a"}},
                            QVariantHash{{"title", "Two"}, {"value", "b"}, {"internal", true}},
                            QVariantHash{{"title", "Three"}, {"value", "c"}}};
    return {{"player:player/volume",
             valueNode("i32_", 30, {{"title", "Volume"}, {"minimum", 0}, {"maximum", 100}})},
            {"player:player/play", QVariantHash{{"title", "Play"}}},
            {"ui:/list", QVariantHash{{"title", "List"}, {"rows", rows}}},
            {"ui:secret", QVariantHash{{"value", "hush"}, {"internal", true}}},
            {"ui:fixed", QVariantHash{{"value", "stays"}, {"modifiable", false}}},
            {"ui:free", QVariantHash{{"value", "text"}}},
            {strictPath, valueNode("bool_", false, {{"internal", true}})}};
}

QVariant json(const QByteArray& text) {
    PlixError error;
    const QVariant value = PlixJson::parse(text, error);
    return error.isEmpty() ? value : QVariant("no JSON: " + error.message());
}

QByteArray post(const TestDevice& device, const QByteArray& method, const QByteArray& body,
                const QByteArray& type = "application/json") {
    return RawClient::request(device.port(), "POST", "/api/" + method,
                              "Content-Type: " + type + "\r\n", body)
        .body;
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
    QTest::addColumn<QByteArray>("body");
    const auto row = [](const char* name, const QByteArray& target, const QByteArray& body) {
        QTest::newRow(name) << "/api/" + target << body;
    };
    const auto error = [&row](const char* name, const QByteArray& target, const char* message,
                              const char* errorName = "Error") {
        row(name, target, errorBody(errorName, message));
    };

    row("value", "getData?path=player:player/volume&roles=title,value",
        R"(["Volume",{"i32_":30}])");
    row("structure", "getData?path=player:player/volume&roles=title,maximum&type=structure",
        R"({"maximum":100,"title":"Volume"})");
    row("type in another case", "getData?path=ui:free&roles=value&type=Structure", R"(["text"])");
    row("legacy path", "getData?path=/player/volume&roles=title", R"(["Volume"])");
    row("encoded", "getData?path=player%3Aplayer%2Fvolume&roles=title%2Cvalue",
        R"(["Volume",{"i32_":30}])");
    row("role that the node does not have", "getData?path=ui:free&roles=icon,,value",
        R"([null,null,"text"])");
    row("@all among others is a role name", "getData?path=ui:free&roles=@all,value",
        R"([null,"text"])");
    row("rows", "getRows?path=ui:/list&roles=value,title&from=0&to=9",
        R"json({"count":3,"rows":[["a","One"],[null,"(Node is internal)"],["c","Three"]],"version":1})json");
    row("rows by role", "getRows?path=ui:/list&roles=title&from=2&to=2&type=structure",
        R"({"count":3,"rows":[{"title":"Three"}],"version":1})");
    row("no rows", "getRows?path=ui:/list&roles=title&from=2&to=1",
        R"({"count":3,"rows":[],"version":1})");

    error("method in another case", "getdata?path=ui:free&roles=value", "Error: wrong method!");
    error("prefix of the event handler", "eventx", "Error: wrong method!");
    error("missing roles", "getData?path=ui:free", "missing path or roles!");
    error("missing to", "getRows?path=ui:/list&roles=title&from=0",
          "missing path, roles, from or to!");
    error("missing value", "setData?path=ui:free&role=value", "missing path or role or value!");
    error("number beyond 32 bits", "getRows?path=ui:/list&roles=title&from=0&to=4294967296",
          "invalid from or to or version!");
    error("no number", "getRows?path=ui:/list&roles=title&from=0&to=1&version=x",
          "invalid from or to or version!");
    error("internal node", "getData?path=ui:secret&roles=value", "Node is internal",
          "getData failed");
    error("writing an internal node", "setData?path=ui:secret&role=value&value=1",
          "Node is internal", "setData failed");
}

void TestApi::answers() {
    QFETCH(QByteArray, target);
    const HttpReply reply = RawClient::get(m_device->port(), target);
    QTEST(reply.body, "body");
    QCOMPARE(reply.status, reply.body.startsWith("{\"error\"") ? 500 : 200);
    QCOMPARE(reply.header("Content-Type"), QByteArray("application/json"));
}

void TestApi::posts() {
    const QByteArray missing = errorBody("Error", "missing path or role or value!");
    const QByteArray invalid = errorBody("Error", "invalid from or to or version!");
    const QByteArray list = R"({"path":"ui:/list","roles":["title"],)";
    const QByteArray free = R"({"path":"ui:free",)";
    const QVector<std::tuple<QByteArray, QByteArray, QByteArray>> rows{
        {"getData", free + R"("roles":["value","title"]})", R"(["text",null])"},
        {"getRows", list + R"("from":"0","to":0,"version":1})",
         R"({"count":3,"rows":[["One"]],"version":1})"},
        {"getRows", list + R"("from":0,"to":4294967296})", invalid},
        {"getRows", list + R"("from":0.5,"to":1})", invalid},
        {"setData", free + R"("roles":"value","value":[1]})", "[1]"}, // the deprecated name
        {"setData", free + R"("role":"value","value":null})", "null"},
        {"setData", free + R"("ro)", missing},
        {"setData", free + R"("role":"value","value":)" + QByteArray(100000, '['), missing},
        {"getData", "7", errorBody("Error", "missing path or roles!")}};
    for (const auto& [method, body, answer] : rows)
        QCOMPARE(post(*m_device, method, body), answer);
    QCOMPARE(RawClient::request(m_device->port(), "PUT", "/api/getData", {}, "x").body,
             errorBody("Error", "Invalid method!"));
}

void TestApi::writesAreReadBack() {
    const auto set = [this](const QByteArray& arguments) {
        return RawClient::get(m_device->port(), "/api/setData?" + arguments).body;
    };
    QCOMPARE(set("path=player:player/volume&role=value&value=25"), QByteArray(R"({"i32_":25})"));
    QCOMPARE(set("path=/player/volume&role=value&value=%7B%22i64_%22:26%7D"),
             QByteArray(R"({"i32_":26})"));
    QCOMPARE(
        RawClient::get(m_device->port(), "/api/getData?path=player:player/volume&roles=value").body,
        QByteArray(R"([{"i32_":26}])"));
    // Activation is tried even where the node cannot say whether it is internal.
    QCOMPARE(set("path=player:player/play&role=activate&value=true"), QByteArray("true"));

    const QVector<std::pair<QByteArray, const char*>> errors{
        {"path=player:player/volume&role=value&value=101", "outOfRange"},
        {"path=player:player/volume&role=value&value=%22x%22", "typeMismatch"},
        {"path=player:player/volume&role=value&value=1.5", "typeMismatch"},
        {"path=ui:fixed&role=value&value=1", "notModifiable"},
        {"path=ui:free&role=internal&value=true", "notModifiable"},
        {"path=ui:nothing&role=value&value=1", "nodeNotFound"},
        {"path=ui:nothing&role=activate&value=1", "nodeNotFound"},
        {"path=nobody:x&role=value&value=1", "workerNotFound"},
        {"path=&role=value&value=1", "workerNotFound"},
        {"path=/other&role=value&value=1", "workerNotFound"}};
    for (const auto& [arguments, name] : errors)
        QCOMPARE(json(set(arguments)).toHash()["error"].toHash()["name"].toString(), QString(name));
    QVERIFY(set("path=ui:free&role=value&value=bare").contains("Unable to parse value: "));

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
    // Percent-encoded rubbish becomes U+FFFD in the text before anything reads it.
    for (const QByteArray text : {"%22%FF%22", "%22%5Cud800%22", "%5B1%5D%00", "1e999", ""}) {
        const HttpReply reply =
            RawClient::get(m_device->port(), "/api/setData?path=ui:free&role=value&value=" + text);
        QCOMPARE(reply.status, text == "%22%FF%22" ? 200 : 500);
    }
}

void TestApi::strictPostsNeedJson() {
    TestDevice device(
        {{"ui:free", QVariantHash{{"value", "text"}}}, {strictPath, valueNode("bool_", true)}});
    const QByteArray form = "application/x-www-form-urlencoded; charset=UTF-8";
    const QByteArray fields = "path=ui:free&role=value&value=b+%C3%BC";
    QCOMPARE(post(device, "setData", fields, form),
             errorBody("Error", "invalid request content type"));
    QCOMPARE(post(*m_device, "setData", fields, form), QByteArray(R"("b ü")"));
    QCOMPARE(post(device, "setData", R"({"path":"ui:free","role":"value","value":1})"),
             QByteArray("1"));
}

void TestApi::replyAfterTheResponderIsGone() {
    TestDevice device;
    Server* server = device.web().findChild<Server*>();
    HoldingWorker slow("slow");
    const QByteArray request =
        RawClient::requestBytes("GET", "/api/getData?path=slow:x&roles=value");
    RawClient client(device.port());
    client.send(request);
    QTRY_COMPARE(slow.requests.size(), 1);
    server->stop();
    QVERIFY(client.waitForClose());
    settle();
    slow.requests[0].reply.finish({1, false});
    settle();

    server->start();
    RawClient again(device.port());
    again.send(request);
    QTRY_COMPARE(slow.requests.size(), 2);
    slow.requests[1].reply.finish({1, false});
    QCOMPARE(again.readReply().body, QByteArray("[1]"));
}

QTEST_GUILESS_MAIN(TestApi)
#include "test_api.moc"
