#include "hostcheck.h"

#include <QTest>

class TestHostCheck : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void decides_data() {
        QTest::addColumn<QByteArray>("host");
        QTest::addColumn<bool>("accepted");
        const auto row = [](const char* host, bool accepted) {
            QTest::newRow(*host ? host : "(empty)") << QByteArray(host) << accepted;
        };
        row("192.168.1.20", true);
        row("192.168.1.20:81", true);
        row("[::1]", true);
        row("[fe80::1]:80", true);
        row("::1", true); // unbracketed: as a name without a dot
        row("[fe80::1", true);
        row("[192.168.1.20]:80", true);
        row("[example.com]", false);
        row("[example.com]:80", false);
        row("localhost", true);
        row("localhost.", true);
        row("localhost:8080", true);
        row("localhost.localdomain", true);
        row("localhost6.localdomain6.", true);
        row("LOCALHOST", true);
        row("LOCALHOST.LOCALDOMAIN", false);
        row("printer.local", true);
        row("printer.local.:80", true);
        row("printer.LOCAL", false);
        row("device", true);
        row("", true);
        row(":80", true);
        row("example.com", false);
        row("example.com:80", false);
        row("localhost.example", false);
        row("192.168.1.20.example.com", false);
        row("notlocal", true);
        row("evil.com:80:80", false);
    }
    void decides() {
        QFETCH(QByteArray, host);
        QTEST(isHostAccepted(host), "accepted");
    }
};

QTEST_APPLESS_MAIN(TestHostCheck)
#include "test_hostcheck.moc"
