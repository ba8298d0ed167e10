// SPDX-License-Identifier: MIT
#include "handlers/reverseproxyhandler.h"
#include "httpsource.h"
#include "rawclient.h"
#include "testdevice.h"

#include <QTest>

namespace {

QByteArray target(const QString& url) {
    return "/proxy/" + url.toUtf8().toBase64();
}

} // namespace

class TestReverseProxy : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void relaysBodyAndType() {
        const TestDevice device;
        HttpSource source(HttpSource::ok(
            "<svg/>", "Content-Type: image/svg+xml\r\nX: 1\r\nContent-Type: text/html\r\n"));
        const HttpReply reply = RawClient::get(device.port(), target(source.url()));
        QCOMPARE(reply.body, QByteArray("<svg/>"));
        QCOMPARE(reply.header("Content-Type"), QByteArray("image/svg+xml"));
        QCOMPARE(reply.header("Content-Security-Policy"), QByteArray("sandbox"));
        QVERIFY(reply.header("X").isNull());

        RawClient client(device.port());
        client.send(RawClient::requestBytes("GET", target(source.url())));
        client.halfClose();
        QCOMPARE(client.readReply().body, QByteArray("<svg/>"));
    }

    void failures() {
        // Shows a certificate that nobody knows.
        TestServer unknown(true);
        unknown.add("/", [](Message*) { QFAIL("was asked"); });
        const TestDevice device;
        const QByteArray empty = "Content-Length: 0\r\n\r\n";
        const HttpSource missing("HTTP/1.1 404 No\r\n" + empty);
        const HttpSource moved("HTTP/1.1 302 Found\r\nLocation: /\r\n" + empty);
        const HttpSource tooLong(
            HttpSource::ok(QByteArray(ReverseProxyHandler::readSizeLimit + 1, 'x')));
        const QString unknownUrl = QStringLiteral("https://127.0.0.1:%1/").arg(unknown.port());
        for (const QString& url : {missing.url(), moved.url(), tooLong.url(), unknownUrl,
                                   QString("file:///etc/passwd")}) {
            const HttpReply reply = RawClient::get(device.port(), target(url));
            QCOMPARE(reply.status, 404);
            QCOMPARE(reply.body, QByteArray("Could not fetch original content from source"));
        }
        QCOMPARE(moved.requests().size(), 1);
        const QString cut = missing.url() + QString(QChar()) + "cut";
        QCOMPARE(RawClient::get(device.port(), target(cut)).body,
                 QByteArray("The original requested url could not be found."));
        QCOMPARE(missing.requests().size(), 1);
    }

    void leavingClientEndsTheFetch() {
        for (const bool tls : {false, true}) {
            const TestDevice device(tls ? TestDevice::httpsNodes() : QVariantHash());
            HttpSource silent("");
            RawClient client(tls ? device.httpsPort() : device.port(), tls);
            client.send(RawClient::requestBytes("GET", target(silent.url())));
            QTRY_COMPARE(silent.requests().size(), 1);
            client.socket().disconnectFromHost();
            QTRY_COMPARE(silent.connections(), 0);
        }
    }

    void parallelFetchesDoNotBlock() {
        const TestDevice device;
        HttpSource silent("");
        HttpSource quick(HttpSource::ok("quick"));
        std::vector<std::unique_ptr<RawClient>> clients;
        const auto fetchSilent = [&] {
            clients.push_back(std::make_unique<RawClient>(device.port()));
            clients.back()->send(RawClient::requestBytes("GET", target(silent.url())));
        };
        for (int i = 1; i < ReverseProxyHandler::fetchesPerClient; ++i)
            fetchSilent();
        QTRY_VERIFY(silent.requests().size() > 0);
        QCOMPARE(RawClient::get(device.port(), target(quick.url())).body, QByteArray("quick"));
        fetchSilent();
        settle();
        const auto refused = [&] {
            return RawClient::get(device.port(), target(quick.url())).status == 503;
        };
        QTRY_VERIFY(refused());
        clients.clear();
        QTRY_VERIFY(!refused());
    }
};

QTEST_GUILESS_MAIN(TestReverseProxy)
#include "test_reverseproxy.moc"
