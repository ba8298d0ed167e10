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

// Behaviour, what is asked for, the body of a POST, and the answer, with the name of an error and
// its message (none: any) behind # signs. `expanded` says what words in capitals stand for.
const char exchanges[] = R"(
no structure    |getData?FREE&roles=value&type=Structure||["text"]
legacy path     |getData?path=/player/volume&roles=title||["Volume"]
roles not there |getData?FREE&roles=icon,,value,@all||[null,null,"text",null]
rows            |getRows?LIST,value&from=0&to=1||ROWS["One","a"],[HIDDEN,null]END
rows by role    |getRows?LIST&type=structure&from=2&to=2||ROWS{"title":"Three"}END
no rows         |getRows?path=/ui/list&roles=title&from=2&to=1||ROWSEND
no roles        |getData?FREE||#Error#missing path or roles!
internal record |getData?path=ui:typed&roles=value||#getData failed#Node is internal
internal list   |getRows?path=ui:typed&roles=title&from=0&to=0||ROWS[HIDDEN]END
too many roles  |getData?FREE&roles=MANY||#Error#too many roles!
internal, set   |SET=1&path=ui:secret||#setData failed#Node is internal
internal, act   |setData?role=activate&value=1&path=ui:secret||#setData failed#Node is internal
post            |getData|{"path":"ui:free","roles":["value","title"]}|["text",null]
posted numbers  |getRows|{LISTED,"from":"0","to":0,"version":1}|ROWS["One"]END
posted fraction |getRows|{LISTED,"from":0.5,"to":1}|#Error#invalid from or to or version!
deprecated name |setData|{"path":"ui:free","roles":"value","value":[1]}|[1]
bare number     |SET=25&VOLUME||{"i32_":25}
wider type      |SET=%7B%22i64_%22:26%7D&path=/player/volume||{"i32_":26}
read back       |getData?VOLUME&roles=value||[{"i32_":26}]
no node         |setData?path=ui:nothing&role=activate&value=1||#nodeNotFound#
no JSON         |SET=bare&FREE||#Error#
NUL and a pair  |SET=%22%5Cu0000%5Cud83d%5Cude00%22&FREE||"\u0000😀"
invalid UTF-8   |SET=%22%FF%22&FREE||"�"
)";

const QByteArray errorStart = R"({"error":{"message":")";

QByteArray errorBody(const QByteArray& name, const QByteArray& message) {
    return errorStart + message + R"(","name":")" + name + R"(","title":"Error"}})";
}

QByteArray expanded(QByteArray text) {
    if (text.startsWith('#'))
        return errorBody(text.split('#')[1], text.split('#')[2]);
    return text.replace("VOLUME", "path=player:player/volume")
        .replace("FREE", "path=ui:free")
        .replace("MANY", QByteArray(100, ','))
        .replace("SET", "setData?role=value&value")
        .replace("LISTED", R"("path":"ui:/list","roles":["title"])")
        .replace("LIST", "path=ui:/list&roles=title")
        .replace("ROWS", R"({"count":3,"rows":[)")
        .replace("HIDDEN", "\"(Node is internal)\"")
        .replace("END", R"(],"version":1})");
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

    void answers_data() { addRows(exchanges); }
    void answers() {
        QFETCH(const QByteArrayList, fields);
        const QByteArray target = expanded(fields[0]);
        const QByteArray body = expanded(fields[1]);
        QByteArray answer = expanded(fields[2]);
        const HttpReply reply = body.isEmpty() ? RawClient::get(m_device->port(), "/api/" + target)
                                               : post(*m_device, target, body);
        if (answer.startsWith(errorStart + '"'))
            answer.replace(errorStart, reply.body.left(reply.body.indexOf("\",\"name\"")));
        QCOMPARE(reply.body, answer);
        QCOMPARE(reply.status, answer.startsWith(errorStart) ? 500 : 200);
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
