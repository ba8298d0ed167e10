#include "handlers/reverseproxyhandler.h"
#include "httpsource.h"
#include "rawclient.h"
#include "testdevice.h"

#include <QElapsedTimer>
#include <QTest>

namespace {

QByteArray target(const QString& url) {
    return "/proxy/" + url.toUtf8().toBase64();
}

const QByteArray failure = "Could not fetch original content from source";

} // namespace

class TestReverseProxy : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void relaysBodyAndType() {
        const TestDevice device;
        HttpSource source(HttpSource::ok("<svg/>", "Content-Type: image/svg+xml\r\nX: 1\r\n"));
        const HttpReply reply = RawClient::get(device.port(), target(source.url()));
        QCOMPARE(reply.status, 200);
        QCOMPARE(reply.body, QByteArray("<svg/>"));
        QCOMPARE(reply.header("Content-Type"), QByteArray("image/svg+xml"));
        QCOMPARE(reply.header("Content-Security-Policy"), QByteArray("sandbox"));
        QVERIFY(reply.header("X").isNull());
        QCOMPARE(ReverseProxyHandler::extractOriginalUrl("http://proxy/"), QString());
    }

    void failures_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<bool>("tls");
        QTest::newRow("missing") << QByteArray("HTTP/1.1 404 No\r\nContent-Length: 0\r\n\r\n")
                                 << false;
        QTest::newRow("redirect") << QByteArray("HTTP/1.1 302 Found\r\nLocation: /\r\n"
                                                "Content-Length: 0\r\n\r\n")
                                  << false;
        QTest::newRow("too long") << HttpSource::ok(
                                         QByteArray(ReverseProxyHandler::readSizeLimit + 1, 'x'))
                                  << false;
        QTest::newRow("certificate that nobody knows") << HttpSource::ok("secret") << true;
    }
    void failures() {
        QFETCH(QByteArray, answer);
        QFETCH(bool, tls);
        const TestDevice device;
        HttpSource source(answer, {}, tls);
        for (const QString& url : {source.url(), QString("file:///etc/passwd")}) {
            const HttpReply reply = RawClient::get(device.port(), target(url));
            QCOMPARE(reply.status, 404);
            QCOMPARE(reply.body, failure);
            QCOMPARE(reply.header("Content-Type"), QByteArray("text/plain"));
        }
        QCOMPARE(source.requests().size(), tls ? 0 : 1);
        QCOMPARE(RawClient::get(device.port(), "/proxy/").body,
                 QByteArray("The original requested url could not be found."));
    }

    void leavingClientEndsTheFetch_data() {
        QTest::addColumn<bool>("tls");
        QTest::addColumn<bool>("reset");
        QTest::newRow("closes") << false << false;
        QTest::newRow("resets") << false << true;
        QTest::newRow("closes TLS") << true << false;
    }
    void leavingClientEndsTheFetch() {
        QFETCH(bool, tls);
        QFETCH(bool, reset);
        const TestDevice device(tls ? TestDevice::httpsNodes() : QVariantHash());
        HttpSource silent("");
        RawClient client(tls ? device.httpsPort() : device.port(), tls);
        client.send(RawClient::requestBytes("GET", target(silent.url())));
        QTRY_COMPARE(silent.requests().size(), 1);
        if (reset)
            client.abort();
        else
            client.socket().disconnectFromHost();
        QTRY_COMPARE_WITH_TIMEOUT(silent.connections(), 0, 2000);
    }

    void parallelFetchesDoNotBlock() {
        const TestDevice device;
        HttpSource silent("");
        HttpSource quick(HttpSource::ok("quick"));
        std::vector<std::unique_ptr<RawClient>> clients;
        for (int i = 0; i < 30; ++i) {
            clients.push_back(std::make_unique<RawClient>(device.port()));
            clients.back()->send(RawClient::requestBytes("GET", target(silent.url())));
        }
        QTRY_COMPARE(silent.requests().size(), 30);
        QElapsedTimer time;
        time.start();
        QCOMPARE(RawClient::get(device.port(), target(quick.url())).body, QByteArray("quick"));
        QCOMPARE(RawClient::get(device.port(), "/").status, 404);
        QVERIFY2(time.elapsed() < 1000, qPrintable(QString::number(time.elapsed())));
    }
};

QTEST_GUILESS_MAIN(TestReverseProxy)
#include "test_reverseproxy.moc"
