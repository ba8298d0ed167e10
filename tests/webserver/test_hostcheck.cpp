#include "hostcheck.h"

#include <QTest>

class TestHostCheck : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void decides() {
        // An address without brackets is taken as a name without a dot.
        for (const char* host :
             {"192.168.1.20", "192.168.1.20:81", "[::1]", "[fe80::1]:80", "::1", "[fe80::1",
              "[192.168.1.20]:80", "localhost", "localhost.", "localhost:8080",
              "localhost.localdomain", "localhost6.localdomain6.", "LOCALHOST", "printer.local",
              "printer.local.:80", "device", "", ":80", "notlocal"})
            QVERIFY2(isHostAccepted(host), host);
        for (const char* host : {"[example.com]", "[example.com]:80", "LOCALHOST.LOCALDOMAIN",
                                 "printer.LOCAL", "example.com", "example.com:80",
                                 "localhost.example", "192.168.1.20.example.com", "evil.com:80:80"})
            QVERIFY2(!isHostAccepted(host), host);
    }
};

QTEST_APPLESS_MAIN(TestHostCheck)
#include "test_hostcheck.moc"
