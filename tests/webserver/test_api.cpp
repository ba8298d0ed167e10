// SPDX-License-Identifier: MIT
#include "datamodel.h"
#include "rawclient.h"
#include "table.h"
#include "testdevice.h"

#include <QTest>

namespace {

const char strictPath[] = "settings:/webserver/strictPath";

QVariantHash nodes() {
    const QVariantList rows{QVariantHash{{"title", "One"}, {"value", "a"}},
                            QVariantHash{{"title", "Two"}, {"value", "b"}, {"internal", true}},
                            QVariantHash{{"title", "Three"}, {"value", "c"}}};
    return {{"player:player/volume", valueNode("i32_", 30, {{"title", "Volume"}})},
            {"ui:/list", QVariantHash{{"title", "List"}, {"rows", rows}}},
            {"ui:secret", QVariantHash{{"value", "hush"}, {"internal", true}, {"activate", false}}},
            {"ui:typed", QVariantHash{{"internal", QVariantHash{{"bool_", true}}}, {"rows", rows}}},
            {"ui:free", QVariantHash{{"value", "text"}}},
            {strictPath, valueNode("bool_", false, {{"internal", true}})}};
}

// Behaviour, what is asked for, the body of a POST, and the answer.
const char exchanges[] = R"--(
no structure   |getData?path=ui:free&roles=value&type=Structure||["text"]
legacy path    |getData?path=/player/volume&roles=title||["Volume"]
roles not there|getData?path=ui:free&roles=icon,,value,@all||[null,null,"text",null]
rows           |getRows?path=ui:/list&roles=title,value&from=0&to=1||{"count":3,"rows":[["One","a"],["(Node is internal)",null]],"version":1}
rows by role   |getRows?path=ui:/list&roles=title&type=structure&from=2&to=2||{"count":3,"rows":[{"title":"Three"}],"version":1}
no rows        |getRows?path=/ui/list&roles=title&from=2&to=1||{"count":3,"rows":[],"version":1}
no roles       |getData?path=ui:free||{"error":{"message":"missing path or roles!","name":"Error","title":"Error"}}
internal record|getData?path=ui:typed&roles=value||{"error":{"message":"Node is internal","name":"getData failed","title":"Error"}}
internal list  |getRows?path=ui:typed&roles=title&from=0&to=0||{"count":3,"rows":[["(Node is internal)"]],"version":1}
internal, set  |setData?role=value&value=1&path=ui:secret||{"error":{"message":"Node is internal","name":"setData failed","title":"Error"}}
internal, act  |setData?role=activate&value=1&path=ui:secret||{"error":{"message":"Node is internal","name":"setData failed","title":"Error"}}
post           |getData|{"path":"ui:free","roles":["value","title"]}|["text",null]
posted numbers |getRows|{"path":"ui:/list","roles":["title"],"from":"0","to":0,"version":1}|{"count":3,"rows":[["One"]],"version":1}
posted fraction|getRows|{"path":"ui:/list","roles":["title"],"from":0.5,"to":1}|{"error":{"message":"invalid from or to or version!","name":"Error","title":"Error"}}
deprecated name|setData|{"path":"ui:free","roles":"value","value":[1]}|[1]
bare number    |setData?role=value&value=25&path=player:player/volume||{"i32_":25}
wider type     |setData?role=value&value=%7B%22i64_%22:26%7D&path=/player/volume||{"i32_":26}
read back      |getData?path=player:player/volume&roles=value||[{"i32_":26}]
no JSON        |setData?role=value&value=bare&path=ui:free||{"error":{"message":"Unable to parse value: Invalid value at offset 0","name":"Error","title":"Error"}}
NUL and a pair |setData?role=value&value=%22%5Cu0000%5Cud83d%5Cude00%22&path=ui:free||"\u0000😀"
invalid UTF-8  |setData?role=value&value=%22%FF%22&path=ui:free||"�"
)--";

QByteArray errorBody(const QByteArray& name, const QByteArray& message) {
    return R"({"error":{"message":")" + message + R"(","name":")" + name + R"(","title":"Error"}})";
}

HttpReply post(const TestDevice& device, const QByteArray& method, const QByteArray& body,
               const QByteArray& type = "application/json") {
    return RawClient::request(device.port(), "POST", "/api/" + method,
                              "Content-Type: " + type + "\r\n", body);
}

} // namespace

class TestApi : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_device = std::make_unique<TestDevice>(nodes()); }
    void cleanupTestCase() { m_device.reset(); }

    void answers_data() {
        addRows(exchanges);
        QTest::newRow("no node") << QByteArrayList{
            "setData?path=ui:nothing&role=activate&value=1", "",
            errorBody("nodeNotFound", "There is no node \\\"ui:nothing\\\"")};
        QTest::newRow("too many roles")
            << QByteArrayList{"getData?path=ui:free&roles=" + QByteArray(100, ','), "",
                              errorBody("Error", "too many roles!")};
    }
    void answers() {
        QFETCH(const QByteArrayList, fields);
        const HttpReply reply = fields[1].isEmpty()
                                    ? RawClient::get(m_device->port(), "/api/" + fields[0])
                                    : post(*m_device, fields[0], fields[1]);
        QCOMPARE(reply.body, fields[2]);
        QCOMPARE(reply.status, fields[2].startsWith("{\"error\":") ? 500 : 200);
        QCOMPARE(reply.header("Content-Type"), QByteArray("application/json"));
    }

    void strictPostsNeedJson() {
        TestDevice device(
            {{"ui:free", QVariantHash{{"value", "text"}}}, {strictPath, valueNode("bool_", true)}});
        const QByteArray form = "application/x-www-form-urlencoded; charset=UTF-8";
        const QByteArray fields = "path=ui:free&role=value&value=b+%C3%BC";
        QCOMPARE(post(device, "setData", fields, form).body,
                 errorBody("Error", "invalid request content type"));
        QCOMPARE(post(*m_device, "setData", fields, form).body, QByteArray(R"("b ü")"));
        QCOMPARE(post(device, "setData", R"({"path":"ui:free","role":"value","value":1})").body,
                 QByteArray("1"));
    }

    void clientsMakeNoHttpRequests() {
        class Source : public CMNodesWorker {
        public:
            using CMNodesWorker::CMNodesWorker;
            void setDataRequest(const CMSetDataRequest& request) override {
                request.reply.finish(request.role);
            }
        };
        TestDevice device;
        Source source({}, "live");
        source.setNode("live:x", {});
        const QByteArray url = "/api/setData?path=live:x&value=%7B%7D&role=";
        QCOMPARE(RawClient::get(device.port(), url + "activate").body, QByteArray("\"activate\""));
        QCOMPARE(
            RawClient::get(device.port(), url + "httpRequest").body,
            errorBody("notModifiable", R"(Role \"httpRequest\" of \"live:x\" cannot be modified)"));
    }

    void keptRowsFollowTheirList() {
        TestDevice device({{"ui:list", QVariantHash{{"title", "List"}}}});
        for (const char* title : {"One", "Two", "One"}) {
            device.worker("ui").setRows("ui:list", {{{"title", title}}, {{"title", "Last"}}});
            for (int ask = 0; ask < 3; ++ask) {
                const auto rows = [&](const QByteArray& query) {
                    const QByteArray url = "/api/getRows?path=ui:list&roles=title&" + query;
                    const QByteArray body = RawClient::get(device.port(), url).body;
                    return body.mid(body.indexOf('['), body.indexOf("]]") + 2 - body.indexOf('['));
                };
                QCOMPARE(rows("from=0&to=1"), "[[\"" + QByteArray(title) + "\"],[\"Last\"]]");
                QCOMPARE(rows("from=1&to=1"), QByteArray("[[\"Last\"]]"));
                QVERIFY(!rows("from=1&to=1&type=structure").contains("[["));
            }
        }
    }

    void replyAfterTheResponderIsGone() {
        TestDevice device;
        HoldingWorker slow("slow");
        RawClient client(device.port());
        client.send(RawClient::requestBytes("GET", "/api/getData?path=slow:x&roles=value"));
        QTRY_COMPARE(slow.requests.size(), 1);
        device.web().findChild<Server*>()->stop();
        QVERIFY(client.waitForClose());
        settle();
        slow.requests[0].reply.finish({1, false});
        settle();
    }

private:
    std::unique_ptr<TestDevice> m_device;
};

QTEST_GUILESS_MAIN(TestApi)
#include "test_api.moc"
