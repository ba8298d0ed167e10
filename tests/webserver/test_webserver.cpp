#include "devicecertificate.h"
#include "rawclient.h"
#include "testdevice.h"

#include <QFile>
#include <QFileInfo>
#include <QSslCertificate>
#include <QSslKey>
#include <QTest>

namespace {

QVariantHash networkInfo(const QStringList& wired, const QStringList& accessPoint = {}) {
    const auto addresses = [](const QStringList& ips) {
        QVariantList entries;
        for (const QString& ip : ips)
            entries.append(QVariantHash{{"ip", ip}});
        return QVariantHash{{"addresses", entries}};
    };
    return {{"wired", addresses(wired)},
            {"softAp", QVariantHash{{"accessPoints", QVariantList{addresses(accessPoint)}}}}};
}

QSslCertificate servedCertificate(int port) {
    RawClient client(port, true);
    client.send(RawClient::requestBytes("GET", "/"));
    client.readReply();
    return client.socket().peerCertificate();
}

} // namespace

// The worker as the host makes it: which server offers what, and the device's certificate.
class TestWebserver : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void httpOffersNoPages();
    void noPortsNoServers();
    void deviceCertificateFollowsTheAddresses();
    void explicitCertificateOffersNoPages();
    void unusableCertificateLeavesHttp();
    void failingOpensslLeavesHttp();
    void subject_data();
    void subject();
    void extensions();
};

void TestWebserver::httpOffersNoPages() {
    TestDevice device;
    device.writeFile("index.html", "page");
    QCOMPARE(RawClient::get(device.port(), "/index.html").status, 404);
    QVERIFY(RawClient::get(device.port(), "/").body.contains("HTTPS"));
    QCOMPARE(RawClient::get(device.port(), "/api/getData").status, 500);
    QCOMPARE(device.httpsPort(), 0);
}

void TestWebserver::noPortsNoServers() {
    const TestDevice device(
        {{"settings:/webserver/port", QVariantHash{{"value", QVariantHash{{"i32_", 0}}}}}});
    QCOMPARE(device.port(), 0);
}

void TestWebserver::deviceCertificateFollowsTheAddresses() {
    QVariantHash nodes = TestDevice::httpsNodes();
    nodes.insert("settings:ui/language", QVariantHash());
    {
        TestDevice device(nodes);
        device.writeFile("index.html", "page");
        const int port = device.httpsPort();
        QVERIFY(port > 0);
        QCOMPARE(RawClient::get(port, "/index.html", {}, true).body, QByteArray("page"));
        QCOMPARE(QFileInfo(DeviceCertificate::keyFile()).permissions() &
                     (QFile::ReadGroup | QFile::ReadOther),
                 QFile::Permissions());

        const QSslCertificate first = servedCertificate(port);
        QCOMPARE(first.subjectInfo(QSslCertificate::CommonName), QStringList{"Corvalink-device"});
        QCOMPARE(first.subjectInfo(QSslCertificate::Organization), QStringList{"Test Works"});
        QCOMPARE(first.subjectAlternativeNames().values(QSsl::IpAddressEntry),
                 QStringList{"127.0.0.1"});

        CMNodesWorker& network = device.worker("network");
        network.setRole("network:info", "value", networkInfo({}, {"127.0.0.1"}));
        settle();
        QCOMPARE(servedCertificate(port), first); // the same addresses elsewhere: nothing to do

        RawClient open(port, true);
        open.send(RawClient::requestBytes("GET", "/index.html"));
        QCOMPARE(open.readReply().status, 200);
        network.setRole("network:info", "value",
                        networkInfo({"127.0.0.1", "fe80::1"}, {"127.0.0.1"}));
        QVERIFY(open.waitForClose());
        const QSslCertificate second = servedCertificate(port);
        QStringList names = second.subjectAlternativeNames().values(QSsl::IpAddressEntry);
        names.sort();
        QCOMPARE(names, (QStringList{"127.0.0.1", "fe80::1"}));
        QCOMPARE(second.publicKey(), first.publicKey());

        network.setRole("network:info", "value", networkInfo({}));
        settle();
        QCOMPARE(device.httpsPort(), 0);
        QVERIFY(device.port() > 0);
        network.setRole("network:info", "value", networkInfo({"127.0.0.1"}));
        settle();
        QCOMPARE(device.httpsPort(), port);
    }
    QVERIFY(!QFile::exists(DeviceCertificate::keyFile()));
    QVERIFY(!QFile::exists(DeviceCertificate::certificateFile()));
}

void TestWebserver::explicitCertificateOffersNoPages() {
    QVariantHash nodes = TestDevice::httpsNodes();
    const auto text = [&nodes](const char* path) {
        return nodes[path].toHash()["value"].toHash()["string_"].toString();
    };
    const QString both =
        text("settings:/webserver/httpsCert") + text("settings:/webserver/httpsPrivateKey");
    nodes["settings:/webserver/httpsCert"] =
        QVariantHash{{"value", QVariantHash{{"string_", both}}}};
    nodes["settings:/webserver/httpsUseDeviceCert"] =
        QVariantHash{{"value", QVariantHash{{"bool_", false}}}};
    TestDevice device(nodes);
    device.writeFile("index.html", "page");
    QVERIFY(device.httpsPort() > 0);
    QVERIFY(RawClient::get(device.httpsPort(), "/index.html", {}, true).body.contains("HTTPS ?"));
    QCOMPARE(servedCertificate(device.httpsPort()).subjectInfo(QSslCertificate::CommonName),
             QStringList{"Test authority"});
}

void TestWebserver::unusableCertificateLeavesHttp() {
    QVariantHash nodes = TestDevice::httpsNodes();
    nodes["settings:/webserver/httpsUseDeviceCert"] = QVariantHash();
    nodes["settings:/webserver/httpsCert"] =
        QVariantHash{{"value", QVariantHash{{"string_", "no certificate"}}}};
    const TestDevice device(nodes);
    QCOMPARE(device.httpsPort(), 0);
    QVERIFY(RawClient::get(device.port(), "/").status == 404);
}

void TestWebserver::failingOpensslLeavesHttp() {
    const QVariantHash nodes = TestDevice::httpsNodes();
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", "/nonexistent");
    const TestDevice device(nodes);
    qputenv("PATH", path);
    QCOMPARE(device.httpsPort(), 0);
    QCOMPARE(RawClient::get(device.port(), "/").status, 404);
}

void TestWebserver::subject_data() {
    QTest::addColumn<QString>("printed");
    QTest::addColumn<QString>("subject");
    QTest::newRow("in the middle") << "subject=/C=AT/CN=Authority/O=Works\n"
                                   << "/C=AT/CN=Corvalink-device/O=Works";
    QTest::newRow("at the end") << "subject=/C=AT/O=Works/CN=Authority\n"
                                << "/C=AT/O=Works/CN=Corvalink-device";
    QTest::newRow("without the prefix") << "/C=AT/CN=x" << QString();
}

void TestWebserver::subject() {
    QFETCH(QString, printed);
    QTEST(deviceCertificateSubject(printed), "subject");
}

void TestWebserver::extensions() {
    const QSet<QString> addresses{"192.168.1.5", "fe80::1"};
    const QString text = deviceCertificateExtensions(addresses);
    const QStringList order = addresses.values();
    QVERIFY(text.endsWith("\nsubjectAltName = IP:" + order[0] + ",IP:" + order[1] + "\n"));
    QVERIFY(text.startsWith("[v3_ca]\nbasicConstraints = CA:FALSE\n"));
}

QTEST_GUILESS_MAIN(TestWebserver)
#include "test_webserver.moc"
