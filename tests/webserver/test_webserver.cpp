// SPDX-License-Identifier: MIT
#include "certificate/devicecertificate.h"
#include "core/plixhost.h"
#include "core/plixhttprequest.h"
#include "rawclient.h"
#include "testdevice.h"

#include <QFile>
#include <QFileInfo>
#include <QSslCertificate>
#include <QSslKey>
#include <QTest>
#include <glib.h>

#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>

namespace {

const QString certificate = "settings:/webserver/httpsCert";
const QString useDeviceCertificate = "settings:/webserver/httpsUseDeviceCert";

QSslCertificate servedCertificate(int port) {
    RawClient client(port, true);
    client.send(RawClient::requestBytes("GET", "/"));
    client.readReply();
    return client.socket().peerCertificate();
}

QString published(TestDevice& device, const QString& name) {
    return PlixValue(device.web().role("SoupServer:" + name, "value").toHash()).string_();
}

} // namespace

// The worker as the host makes it: which server offers what, and the device's certificate.
class TestWebserver : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void pipeNamesDoNotFollowFromTheTime() {
        qint64 seed = g_get_monotonic_time() / 1000;
        const TestDevice device;
        const long drawn = random();
        for (; seed <= g_get_monotonic_time() / 1000; ++seed) {
            srandom(static_cast<unsigned int>(seed));
            QVERIFY(random() != drawn);
        }
    }

    // What a killed device has left, but nothing that is in use, and nothing that is not a
    // stream's.
    void removesStalePipes() {
        const auto make = [](const char* suffix, int ageSeconds) {
            const QByteArray name = (PlixHttpRequest::pipePrefix() + suffix).toUtf8();
            mkfifo(name.constData(), 0600);
            const timeval then{time(nullptr) - ageSeconds, 0};
            const timeval times[] = {then, then};
            utimes(name.constData(), times);
            return name;
        };
        const QByteArray stale = make("9000000011", 600);
        const QByteArray young = make("9000000012", 10);
        const QByteArray read = make("9000000013", 600);
        const QByteArray foreign = make("x", 600);
        const int reader = ::open(read.constData(), O_RDONLY | O_NONBLOCK);
        { const TestDevice device; }
        QVERIFY(!QFile::exists(stale));
        for (const QByteArray& kept : {young, read, foreign})
            QVERIFY2(QFile::remove(kept), kept.constData());
        ::close(reader);
    }

    void deviceCertificateFollowsTheAddresses() {
        {
            TestDevice device(TestDevice::httpsNodes());
            device.writeFile("index.html", "page");
            const int port = device.httpsPort();
            const HttpReply reply = RawClient::get(port, "/index.html", {}, true);
            QCOMPARE(reply.body, QByteArray("page"));
            QCOMPARE(reply.header("Content-Security-Policy"),
                     QByteArray("upgrade-insecure-requests"));
            const auto permissions = QFileInfo(DeviceCertificate::keyFile()).permissions();
            QVERIFY((permissions & QFile::Permissions(0x77)) == 0);

            const QSslCertificate first = servedCertificate(port);
            QCOMPARE(first.subjectDisplayName(), QString("Corvalink-device"));
            QCOMPARE(first.subjectInfo(QSslCertificate::Organization), QStringList{"Test Works"});
            const auto setAddresses = [&](const QStringList& ips) {
                QVariantList addresses;
                for (const QString& ip : ips)
                    addresses.append(QVariantHash{{"ip", ip}});
                const QVariantHash wired{{"addresses", addresses}};
                device.worker("network").setRole("network:info", "value",
                                                 QVariantHash{{"wired", wired}});
                settle();
            };
            RawClient open(port, true);
            open.send(RawClient::requestBytes("GET", "/index.html"));
            QCOMPARE(open.readReply().status, 200);
            setAddresses({"127.0.0.1", "fe80::1%eth0", "10.0.0.1,DNS:example.com", "no"});
            QVERIFY(open.waitForClose());
            const QSslCertificate second = servedCertificate(port);
            QStringList names = second.subjectAlternativeNames().values(QSsl::IpAddressEntry);
            names.sort();
            QCOMPARE(names, (QStringList{"127.0.0.1", "fe80::1"}));
            QCOMPARE(second.publicKey(), first.publicKey());
            // Pages show what people compare, and offer the authority, but not its key.
            QCOMPARE(published(device, "certificate/sha256"),
                     QString(second.digest(QCryptographicHash::Sha256).toHex(':')).toUpper());
            const QByteArray shown = published(device, "authority/certificate").toLatin1();
            const QSslCertificate authority(QByteArray::fromBase64(shown), QSsl::Der);
            QCOMPARE(authority.subjectInfo(QSslCertificate::Organization),
                     second.issuerInfo(QSslCertificate::Organization));
            QCOMPARE(authority.toDer(), QByteArray::fromBase64(shown));

            setAddresses({});
            QCOMPARE(device.httpsPort(), 0);
            QVERIFY(device.port() > 0);
            setAddresses({"127.0.0.1"});
            QCOMPARE(device.httpsPort(), port);
        }
        QVERIFY(!QFile::exists(DeviceCertificate::keyFile()));
        QVERIFY(!QFile::exists(DeviceCertificate::certificateFile()));
    }

    void publishesTextsOfTheLanguage() {
        TestDevice device({{"settings:/ui/language", valueNode("string_", "en")}});
        device.writeFile("lang/en.json", R"({"Play": "Play", "Stop?": "Stop?"})");
        device.writeFile("lang/de.json", R"({"Play": "Los", "More": "Mehr"})");
        device.writeFile("de.json", R"({"Play": "outside"})");
        const QPair<const char*, const char*> rows[] = {
            {"de", "de Los"}, {"../de", "en Play"}, {"de-AT", "de Los"}, {"ja", "en Play"}};
        for (const auto& [language, expected] : rows) {
            PlixValue value;
            value.setString_(language);
            device.worker("settings").setValue("settings:/ui/language", value);
            settle();
            QCOMPARE(published(device, "texts/@lang") + ' ' + published(device, "texts/Play"),
                     QString(expected));
            QCOMPARE(published(device, "texts/Stop?"), QString("Stop?"));
        }
        QVERIFY(!device.web().hasNode("SoupServer:texts/More"));
    }

    void explicitCertificateOffersNoPages() {
        QVariantHash nodes = TestDevice::httpsNodes();
        nodes[useDeviceCertificate] = valueNode("bool_", false);
        TestDevice device(nodes);
        device.writeFile("index.html", "page");
        const int port = device.httpsPort();
        QVERIFY(RawClient::get(port, "/index.html", {}, true).body.contains("HTTPS ?"));
        QCOMPARE(servedCertificate(port).subjectDisplayName(), QString("Test authority"));
    }

    // To a client that makes room slowly, so that writes end anywhere in a header or in a body.
    void answersFollowEachOther() {
        QVariantHash nodes = TestDevice::httpsNodes();
        nodes["test:long"] = valueNode("string_", QString(5000, 'x'));
        const TestDevice device(nodes);
        device.writeFile("small", noise(3000));
        device.writeFile("large", noise(60000));
        device.writeFile("page.fcgi", "page");
        plixSetPlatformPaths(device.root() + '/', QString());
        const QByteArray file = "/file/stream/" + device.root().toUtf8();
        const std::pair<QByteArray, QByteArray> requests[] = {
            {"GET", "/api/getData?path=test:long&roles=value"},
            {"GET", file + "/small"},
            {"HEAD", file + "/small"},
            {"GET", file + "/large"},
            {"GET", "/page.fcgi"}};
        for (const bool tls : {false, true}) {
            const int port = tls ? device.httpsPort() : device.port();
            QByteArrayList expected;
            QByteArray all;
            for (const auto& [method, target] : requests) {
                expected << RawClient::request(port, method, target, {}, {}, tls).body;
                all += RawClient::requestBytes(method, target);
            }
            QCOMPARE(expected[3], noise(60000));
            RawClient client(port, tls);
            client.makeSlow();
            constexpr int rounds = 3;
            client.send(all.repeated(rounds));
            for (int i = 0; i < rounds * expected.size(); ++i)
                QCOMPARE(client.readReply(i % 5 == 2).body, expected[i % 5]);
        }
    }

    void failuresLeaveHttp() {
        // A certificate that cannot be used, no openssl, and no such port.
        for (int fault = 0; fault < 3; ++fault) {
            // QProcess of Qt 6.4 keeps a descriptor of each program that it does not find.
            if (fault == 1 && QT_VERSION >= QT_VERSION_CHECK(6, 0, 0))
                continue;
            QVariantHash nodes = TestDevice::httpsNodes();
            if (fault != 1)
                nodes[useDeviceCertificate] = QVariantHash();
            if (fault == 0)
                nodes[certificate] = valueNode("string_", "no certificate");
            if (fault == 2)
                nodes["settings:/webserver/httpsPort"] = valueNode("i32_", 65536 + freePort());
            const QByteArray path = qgetenv("PATH");
            qputenv("PATH", fault == 1 ? "/nonexistent" : path);
            const TestDevice device(nodes);
            qputenv("PATH", path);
            QCOMPARE(device.httpsPort(), 0);
            QCOMPARE(RawClient::get(device.port(), "/").status, 404);
        }
    }
};

QTEST_GUILESS_MAIN(TestWebserver)
#include "test_webserver.moc"
