// SPDX-License-Identifier: MIT
#include "core/plixpaths.h"
#include "http/origincheck.h"
#include "message.h"
#include "rawclient.h"
#include "table.h"
#include "testdevice.h"

#include <QTest>

namespace {

const char app[] = "https://app.example";

QByteArray orNull(const QByteArray& field) {
    return field == "-" ? QByteArray() : field;
}

} // namespace

class TestOrigins : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void writesOfForeignPages_data() {
        // What asks; the method, the decoded path, Host, Origin and Sec-Fetch-Site; the verdict.
        addRows(R"(
no browser              |POST|/x          |10.0.0.1:80  |-                        |-          |yes
the device's own page   |POST|/x          |10.0.0.1:80  |http://10.0.0.1          |same-origin|yes
its other server's page |POST|/x          |10.0.0.1:8080|https://10.0.0.1:8443    |same-site  |yes
its page by IPv6        |POST|/x          |[fe80::1]:80 |http://[fe80::1]:8080    |-          |yes
a name in capitals      |POST|/x          |Printer.local|http://printer.local     |-          |yes
a foreign page          |POST|/x          |10.0.0.1     |http://evil.example      |-          |no
a neighbour             |POST|/x          |10.0.0.1     |http://10.0.0.2          |-          |no
a neighbour by IPv6     |POST|/x          |[fe80::1]:80 |http://[fe80::2]:80      |-          |no
a longer name           |POST|/x          |a.local      |http://a.local.example   |-          |no
a sandboxed page        |POST|/x          |10.0.0.1     |null                     |-          |no
a page without origin   |POST|/x          |10.0.0.1     |-                        |cross-site |no
an empty origin         |POST|/x          |10.0.0.1     |                         |-          |no
no host                 |POST|/x          |-            |http://                  |-          |no
an allowed page         |POST|/x          |10.0.0.1     |https://app.example      |cross-site |yes
its plain twin          |POST|/x          |10.0.0.1     |http://app.example       |cross-site |no
its other port          |POST|/x          |10.0.0.1     |https://app.example:444  |cross-site |no
a foreign picture       |GET |/api/setData|10.0.0.1     |-                        |cross-site |no
a foreign fetch         |GET |/api/setData|10.0.0.1     |http://evil.example      |-          |no
an allowed fetch        |GET |/api/setData|10.0.0.1     |https://app.example      |cross-site |yes
a typed URL             |GET |/api/setData|10.0.0.1     |-                        |none       |yes
a foreign link          |GET |/index.html |10.0.0.1     |-                        |cross-site |yes
a foreign player        |GET |/api/stream/|10.0.0.1     |http://evil.example      |cross-site |yes
)");
    }
    void writesOfForeignPages() {
        QFETCH(const QByteArrayList, fields);
        const RequestOrigin request{fields[0], fields[1], orNull(fields[2]), orNull(fields[3]),
                                    orNull(fields[4])};
        QCOMPARE(isOriginAccepted(request, {app}), fields[5] == "yes");
    }

    void settingHoldsOriginsOnly() {
        QCOMPARE(originsOf({"*", "null", "", "http://", "https://a.b/", "http://A.b", "a.b:80",
                            "http://a.b\n", app, "http://[::1]:81"}),
                 (QByteArrayList{app, "http://[::1]:81"}));
    }

    void refusedBeforeTheBody() {
        TestServer server;
        const std::function<void(Message*)> unwanted = [](Message*) {
            QFAIL("a handler was called");
        };
        server.add("/", unwanted);
        server.addEarly("/", new FunctionHandler(unwanted));
        server.add("/api/", unwanted);
        // Where no early handler takes the body, it is read first.
        for (const auto& [target, body] :
             {std::pair("/upload", 0), std::pair("/api/set%44ata", 100000)}) {
            RawClient client(server.port());
            client.send(RawClient::requestBytes(
                "POST", target, "Origin: http://evil.example\r\nContent-Length: 100000\r\n"));
            client.send(QByteArray(body, 'x'));
            QCOMPARE(client.readReply().status, 403);
        }
        QCOMPARE(RawClient::get(server.port(), "/api/set%44ata", "Sec-Fetch-Site: cross-site\r\n")
                     .status,
                 403);
    }

    void allowedPagesUseTheApi() {
        const TestDevice device({{PlixWebserverAllowedOriginsPath().toEncoded(),
                                  QVariantHash{{"value", QVariantList{app}}}},
                                 {"test:x", valueNode("i32_", 1)}});
        const QByteArray from = "Origin: " + QByteArray(app) + "\r\n";
        const QByteArray asks = "Access-Control-Request-Method: POST\r\n";
        const std::tuple<QByteArray, QByteArray, QByteArray, int, bool> rows[] = {
            {"OPTIONS", "/api/setData", from + asks, 204, true},
            {"OPTIONS", "/api/setData", "Origin: http://evil.example\r\n" + asks, 500, false},
            {"OPTIONS", "/file/stream/", from + asks, 404, false},
            {"GET", "/api/getData?path=test:x&roles=value", from, 200, true},
            {"GET", "/api/getData?path=test:x&roles=value", {}, 200, false},
            {"GET", "/api/event/pollQueue", from, 400, true},
            {"GET", "/file/stream/x", from, 404, false}};
        for (const auto& [method, target, headers, status, readable] : rows) {
            const HttpReply reply = RawClient::request(device.port(), method, target, headers);
            QCOMPARE(reply.status, status);
            QCOMPARE(reply.header("Access-Control-Allow-Origin"),
                     readable ? QByteArray(app) : QByteArray());
            QCOMPARE(reply.header("Vary") == "Origin", target.startsWith("/api/"));
        }
    }
};

QTEST_GUILESS_MAIN(TestOrigins)
#include "test_origins.moc"
