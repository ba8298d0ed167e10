#include "core/model/cmroot.h"
#include "core/model/cmrootworker.h"
#include "core/plixjson.h"
#include "core/plixpaths.h"
#include "networkinfo.h"
#include "networkworker.h"

#include <QtTest>

class TestNetwork : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void listsAddressesByKindOfInterface() {
        const QVariantHash record = NetworkInfo::record({
            {false, {QHostAddress("192.168.1.5"), QHostAddress("fe80::1%eth0")}},
            {true, {QHostAddress("10.0.0.7")}},
        });
        QCOMPARE(PlixJson::serialize(record),
                 QByteArray(R"({"softAp":{"accessPoints":[]},)"
                            R"("wired":{"addresses":[{"ip":"192.168.1.5"},{"ip":"fe80::1"}]},)"
                            R"("wireless":{"addresses":[{"ip":"10.0.0.7"}]}})"));
    }

    void reportsLoopback() {
        const NetworkWorker worker({});
        const QVariantHash info = CMRoot()->getValue(PlixNetworkInfoPath()).toHash();
        const QVariantList wired = info.value("wired").toHash().value("addresses").toList();
        QVERIFY(wired.contains(QVariantHash{{"ip", "127.0.0.1"}}));
    }

private:
    CMRootWorker m_root;
};

QTEST_GUILESS_MAIN(TestNetwork)
#include "test_network.moc"
