// SPDX-License-Identifier: MIT
#include "datamodel.h"
#include "handlers/responderhandler.h"
#include "openwatch.h"
#include "rawclient.h"
#include "responders/page/pageresponder.h"
#include "responders/page/pagetemplate.h"
#include "responders/responderfactory.h"
#include "table.h"
#include "testdevice.h"

#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

QVariantHash nodes() {
    return {{"ui:text", valueNode("string_", "<a&b>", {{"title", "\"it's\""}})},
            {"ui:number", valueNode("i64_", 30, {{"maximum", 100}})},
            {"ui:json", QVariantHash{{"value", QVariantList{}}}}};
}

// Behaviour, page, form fields, and the body of the answer.
const char instructions[] = R"(
unknown command|<?plix GetData?>||[[Error: unknown command: GetData]]
no roles       |<?plix getData path="ui:text"?>!||[[getData: Error: missing parameters!]]!
html           |1<?plix getData path="ui:text" roles="value" escape="html"?>2||1&lt;a&amp;b&gt;2
the last path  |<?plix getData path="ui:text" path="ui:number" roles="value"?>||30
other words    |<?plix getData path="ui:number" escape roles = x, roles="value"/?>||30
js             |<?plix getData path="ui:text" roles="title" escape="js"?>||\"it\'s\"
setData        |<?plix setData role="value" path="ui:number" type="int" value="7"?><?plix getData path="ui:number" roles="value"?>||7
onSuccess      |<?plix setData role="value" path="ui:number" type="int" value="7" onSuccess="<ok>" escape="none"?>||<ok>
onSuccessReply |<?plix setData role="value" path="ui:number" type="int" value="7" onSuccess="a" onSuccessReply="b"?>||7
no JSON        |1<?plix setData role="value" path="ui:json" type="json" value="[" onError="e"?>2||12
form fields    |<?plix setData role="value" path="ui:$n" type="$t" value="$v$x" onSuccessReply="1"?>|n=number&t=int&v=12&value=5|12
dollar signs   |<?plix setData role="value" path="ui:x" onError="$a $$a $$ $value"?>|a=%3C&value=%24n|&lt; $&lt; $$ $n
)";

// A model and a server whose pages lie in the folder `www` of `root`.
struct Pages {
    CMRootWorker model;
    CMNodesWorker worker{{{"nodes", nodes()}}, "ui"};
    HoldingWorker holding{"held"};
    QTemporaryDir root;
    TestServer server;

    Pages() {
        server.add("/", new ResponderHandler(makeDefaultResponderFactory<PageResponder>(),
                                             root.filePath("www"), nullptr));
    }
    void write(const QByteArray& content, const QString& name = "www/p.fcgi") const {
        writeFile(root.filePath(name), content);
    }
    void answer() { holding.requests.takeFirst().reply.finish({"late"}); }
    HttpReply render(const QByteArray& content, const QByteArray& form = {}) const {
        write(content);
        return RawClient::request(server.port(), "POST", "/p.fcgi",
                                  "Content-Type: application/x-www-form-urlencoded\r\n", form);
    }
};

} // namespace

class TestPageResponder : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void renders_data() {
        addRows(instructions);
        QTest::newRow("NUL") << QByteArrayList{QByteArray("a\r\n\0b", 5), "", "a\r\n"};
        QTest::newRow("byte-order mark") << QByteArrayList{"\xef\xbb\xbf\xff", "", "\xef\xbf\xbd"};
    }

    void renders() {
        QFETCH(const QByteArrayList, fields);
        const Pages pages;
        const HttpReply reply = pages.render(fields[0], fields[1]);
        QCOMPARE(reply.body, fields[2]);
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.header("Content-Type"), QByteArray("text/html"));
        QCOMPARE(reply.header("X-Frame-Options"), QByteArray("SAMEORIGIN"));
    }

    void fieldStaysWithinItsText() {
        Pages pages;
        pages.render("<?plix setData role=\"value\" path=\"ui:json\" type=\"json\""
                     " value=\"[\\\"$v\\\"]\"?>",
                     "v=%22%2C%22");
        QCOMPARE(pages.worker.role("ui:json", "value"), QVariant(QVariantList{"\",\""}));
    }

    void refusesFiles() {
        const Pages pages;
        pages.write("secret", "secret.fcgi");
        pages.write("a");
        QVERIFY(QFile::link("../secret.fcgi", pages.root.filePath("www/link.fcgi")));
        QCOMPARE(mkfifo(qPrintable(pages.root.filePath("www/fifo.fcgi")), 0600), 0);
        for (const auto& [target, status] :
             {std::pair("/none.fcgi", 404), std::pair("/%2e%2e%2fsecret.fcgi", 404),
              std::pair("/link.fcgi", 404), std::pair("/fifo.fcgi", 403),
              std::pair("/p.fcgi%00.fcgi", 404), std::pair("/x%2f..%2fp.fcgi", 404),
              std::pair("/p.fcgi", 200)}) {
            const HttpReply reply = RawClient::get(pages.server.port(), target);
            QVERIFY2(reply.status == status, target);
            QVERIFY2(status != 404 || reply.body == "No such file", target);
        }
    }

    void readsAPageAgainAfterAChange() {
        const Pages pages;
        const QString name = pages.root.filePath("www/p.fcgi");
        // All of one size and one time of modification.
        const auto write = [&](const QByteArray& content) {
            pages.write(content);
            setModificationTime(name, 1);
        };
        write("one");
        OpenWatch watch(name);
        const auto answer = [&] {
            watch.count();
            const QByteArray body = RawClient::get(pages.server.port(), "/p.fcgi").body;
            return body + (watch.count() > 0 ? ", opened" : ", cached");
        };
        // What has just been written may be written again within the same tick of the clock.
        for (int i = 0; i < 2; ++i)
            QCOMPARE(answer(), QByteArray("one, opened"));
        QTRY_COMPARE_WITH_TIMEOUT(answer(), QByteArray("one, cached"), 10000);
        write("two");
        QCOMPARE(answer(), QByteArray("two, opened"));
    }

    void takesLinearTimeAndFlatStack() {
        const Pages pages;
        const QByteArray get("<?plix getData path=\"ui:number\" roles=\"value\"?>");
        QVERIFY(pages.render(get.repeated(20000)).body == QByteArray("30").repeated(20000));
        // One instruction of a long word and an attribute without an end.
        const QByteArray word(1 << 20, 'x');
        QVERIFY(!pages.render("<?plix getRows " + word + " a=\"" + word + "?>").body.isEmpty());
    }

    void sendsTextWhileAReplyIsAwaited() {
        Pages pages;
        pages.write("before<?plix getData path=\"held:a\" roles=\"title\"?>after");
        RawClient client(pages.server.port());
        client.send(RawClient::requestBytes("GET", "/p.fcgi"));
        for (QByteArray received; !received.endsWith("before\r\n"); received += client.read(1))
            QVERIFY2(client.isConnected(), received.constData());
        pages.answer();
        QVERIFY(client.read(14).contains("lateafter"));
    }

    void exchangeEndsWhileAReplyIsAwaited() {
        Pages pages;
        pages.write("<?plix getData path=\"held:a\" roles=\"title\"?>after");
        RawClient left(pages.server.port());
        RawClient waiting(pages.server.port());
        for (RawClient* client : {&left, &waiting})
            client->send(RawClient::requestBytes("GET", "/p.fcgi"));
        QTRY_COMPARE(pages.holding.requests.size(), 2);
        left.abort();
        settle();
        pages.answer();
        // Before the responder is deleted.
        pages.server.server().stop();
        pages.answer();
        settle();
    }

    void buildsValues() {
        const QVector<std::tuple<const char*, const char*, QVariant>> rows{
            {"string", "5", "5"},
            {"int", "5", 5},
            {"INT", "5", QVariant()},
            {"PlixValue:bool_", "1", QVariantHash{{"bool_", true}}},
            {"PlixValue:i32_", "99999999999", QVariantHash{{"i32_", 0}}},
            {"PlixValue:double_", "-2.9", QVariantHash{{"i64_", -2LL}}},
            {"PlixValue:double_", "1e300", QVariantHash{{"i64_", LLONG_MAX}}},
            {"PlixValue:double_", "nan", QVariantHash{{"i64_", 0LL}}},
            {"PlixValue:other", "5", QVariantHash()}};
        for (const auto& [type, text, value] : rows) {
            PlixError error;
            const QVariant actual = PageTemplate::toValue(type, text, &error);
            QVERIFY2(actual == value && actual.userType() == value.userType() && error.isEmpty(),
                     type);
        }
    }
};

QTEST_GUILESS_MAIN(TestPageResponder)
#include "test_pageresponder.moc"
