#include "core/plixvalue.h"
#include "devicedescription.h"

#include <QtTest>

class TestDeviceDescription : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void refusesWrongFile_data();
    void refusesWrongFile();
    void laterFilesMergeOverEarlierOnes();
    void overridesValue();
};

void TestDeviceDescription::refusesWrongFile_data() {
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("reason");
    const auto row = [](const QByteArray& json, const QString& reason) {
        QTest::newRow(qPrintable(reason)) << json << reason;
    };
    row("", "not valid JSON at byte 0");
    row(R"({"nodes": {)", "not valid JSON at byte 11");
    row("[]", "not a JSON object");
    row(R"({"node": {}})", R"(unknown member "node")");
    row(R"({"platform": {"firmwareUpdateDataPipe": "x"}})", "not an absolute path");
    row(R"({"platform": {"readPathPrefix": "/x"}})", "does not end with");
    row(R"({"platform": {"readPathPrefix": "/(/"}})", "regular expression");
    row(R"({"workers": [{"config": {}}]})", "a worker is not");
    row(R"({"workers": [{"library": "../x"}]})", R"("../x" is not the name)");
    row(R"({"workers": [{"library": "a"}, {"library": "a"}]})", "listed twice");
    row(R"({"workers": [{"library": "a", "config": []}]})", R"("config" of)");
    row(R"({"nodes": {"/a:b": {}}})", "names no worker");
    row(R"({"nodes": {"a:b": 1}})", R"(node "a:b" is not an object)");
    row(R"({"nodes": {"a:b": {"rows": {}}}})", R"("rows" of node "a:b")");
    row(R"({"nodes": {"a:b": {"rows": [1]}}})", R"(a row of node "a:b")");
}

void TestDeviceDescription::refusesWrongFile() {
    QFETCH(QByteArray, json);
    QFETCH(QString, reason);
    DeviceDescription description;
    QString error;
    QVERIFY(!description.merge(json, &error));
    QVERIFY2(error.contains(reason), qPrintable(error));
    QVERIFY(description.nodes().isEmpty() && description.workers().isEmpty());
}

void TestDeviceDescription::laterFilesMergeOverEarlierOnes() {
    DeviceDescription description;
    QString error;
    for (const char* file : {R"({
        "platform": {"readPathPrefix": "/a/", "firmwareUpdateDataPipe": "/b"},
        "workers": [{"library": "plix_a", "config": {"x": 1}}, {"library": "plix_b"}],
        "nodes": {"ui:/a": {"title": "A", "value": {"i32_": 1}, "rows": [{"title": "1"}, {}]},
                  "player:b": {"title": "B"}}})",
                             R"({
        "platform": {"firmwareUpdateDataPipe": "/c"},
        "workers": [{"library": "plix_c"}],
        "nodes": {"ui:/a": {"value": 2, "rows": [{"value": true}]}}})"})
        QVERIFY2(description.merge(file, &error), qPrintable(error));
    QCOMPARE(description.readPathPrefix(), QStringLiteral("/a/"));
    QCOMPARE(description.firmwareUpdateDataPipe(), QStringLiteral("/c"));
    QCOMPARE(description.workers().size(), 1);
    QCOMPARE(description.workers().first().library, QStringLiteral("plix_c"));
    QCOMPARE(description.nodeWorkers(), (QStringList{"player", "ui"}));
    const QVariantList rows{QVariantHash{{"value", PlixValue::fromScalar(true).__hash()}}};
    QCOMPARE(description.nodes().value("ui:/a").toHash(),
             (QVariantHash{{"title", "A"}, {"value", QVariantHash{{"i32_", 2}}}, {"rows", rows}}));
}

void TestDeviceDescription::overridesValue() {
    const auto value = [](const QString& assignment) {
        DeviceDescription description;
        QString error;
        const bool taken = description.override(assignment, &error);
        return taken == error.isEmpty() && taken == !description.overriddenPaths().isEmpty()
                   ? description.nodes().value("a:/b").toHash().value("value")
                   : QStringLiteral("inconsistent");
    };
    QCOMPARE(value("a:/b=9000"), QVariant(QVariantHash{{"i32_", 9000}}));
    QCOMPARE(value(R"(a:/b="x=y")"), QVariant(QVariantHash{{"string_", "x=y"}}));
    QCOMPARE(value(R"(a:/b={"c":"d"})"), QVariant(QVariantHash{{"c", "d"}}));
    for (const char* wrong : {"a:/b=de", "a:/b=", "a:/b", "/b=1"})
        QCOMPARE(value(wrong), QVariant());
}

QTEST_GUILESS_MAIN(TestDeviceDescription)
#include "test_devicedescription.moc"
