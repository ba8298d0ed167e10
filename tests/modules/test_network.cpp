// SPDX-License-Identifier: MIT
#include "core/plixjson.h"
#include "networkinfo.h"

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
};

QTEST_GUILESS_MAIN(TestNetwork)
#include "test_network.moc"
