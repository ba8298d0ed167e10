#include "core/plixvalue.h"
#include "devicedescription.h"

#include <QtTest>

class TestDeviceDescription : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void refusesWrongFile_data();
    void refusesWrongFile();
    void laterFilesMergeOverEarlierOnes();
    void overridesValue_data();
    void overridesValue();
};

void TestDeviceDescription::refusesWrongFile_data() {
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const char* json, const char* reason) {
        QTest::newRow(name) << QByteArray(json) << QString::fromUtf8(reason);
    };
    row("empty", "", "not valid JSON at byte 0");
    row("cut off", R"({"nodes": {)", "not valid JSON at byte 11");
    row("list", "[]", "not a JSON object");
    row("unknown member", R"({"node": {}})", R"(unknown member "node")");
    row("platform no object", R"({"platform": 1})", R"("platform" is not an object)");
    row("unknown platform path", R"({"platform": {"pipe": "/x"}})", R"(unknown member "pipe")");
    row("relative pipe", R"({"platform": {"firmwareUpdateDataPipe": "x"}})",
        "not an absolute path");
    row("open prefix", R"({"platform": {"readPathPrefix": "/x"}})", "does not end with");
    row("prefix no pattern", R"({"platform": {"readPathPrefix": "/(/"}})", "regular expression");
    row("workers no list", R"({"workers": {}})", R"("workers" is not a list)");
    row("worker without library", R"({"workers": [{"config": {}}]})", "a worker is not");
    row("library elsewhere", R"({"workers": [{"library": "../x"}]})", R"("../x" is not the name)");
    row("empty library", R"({"workers": [{"library": ""}]})", R"("" is not the name)");
    row("library twice", R"({"workers": [{"library": "a"}, {"library": "a"}]})", "listed twice");
    row("config no object", R"({"workers": [{"library": "a", "config": []}]})", R"("config" of)");
    row("nodes no object", R"({"nodes": []})", R"("nodes" is not an object)");
    row("path without worker", R"({"nodes": {"/player": {}}})", "names no worker");
    row("path begins with colon", R"({"nodes": {":a": {}}})", "names no worker");
    row("slash before colon", R"({"nodes": {"/a:b": {}}})", "names no worker");
    row("node no object", R"({"nodes": {"a:b": 1}})", R"(node "a:b" is not an object)");
    row("rows no list", R"({"nodes": {"a:b": {"rows": {}}}})", R"("rows" of node "a:b")");
    row("row no object", R"({"nodes": {"a:b": {"rows": [1]}}})", R"(a row of node "a:b")");
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
    QVERIFY2(description.merge(R"({
        "platform": {"readPathPrefix": "/a/", "firmwareUpdateDataPipe": "/b"},
        "workers": [{"library": "plix_a", "config": {"x": 1}}, {"library": "plix_b"}],
        "nodes": {"ui:/a": {"title": "A", "value": {"i32_": 1}, "rows": [{"title": "1"}, {}]},
                  "player:b": {"title": "B"}}})",
                               &error),
             qPrintable(error));
    QVERIFY2(description.merge(R"({
        "platform": {"firmwareUpdateDataPipe": "/c"},
        "workers": [{"library": "plix_c"}],
        "nodes": {"ui:/a": {"value": 2, "rows": [{"value": true}]}}})",
                               &error),
             qPrintable(error));
    QCOMPARE(description.readPathPrefix(), QStringLiteral("/a/"));
    QCOMPARE(description.firmwareUpdateDataPipe(), QStringLiteral("/c"));
    QCOMPARE(description.workers().size(), 1);
    QCOMPARE(description.workers().first().library, QStringLiteral("plix_c"));
    QCOMPARE(description.nodeWorkers(), (QStringList{"player", "ui"}));
    const QVariantHash node = description.nodes().value("ui:/a").toHash();
    QCOMPARE(node.value("title"), QVariant("A"));
    QCOMPARE(PlixValue(node.value("value").toHash()).i32_(), 2);
    QCOMPARE(node.value("rows").toList().size(), 1);
    const QVariantHash row = node.value("rows").toList().first().toHash();
    QVERIFY(PlixValue(row.value("value").toHash()).bool_());
}

void TestDeviceDescription::overridesValue_data() {
    QTest::addColumn<QString>("assignment");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("whole number") << "a:/b=9000"
                                  << "a:/b" << QVariant(QVariantHash{{"i32_", 9000}});
    QTest::newRow("text with equals sign") << R"(a:/b="x=y")"
                                           << "a:/b" << QVariant(QVariantHash{{"string_", "x=y"}});
    QTest::newRow("object as it is") << R"(a:/b={"c":"d"})"
                                     << "a:/b" << QVariant(QVariantHash{{"c", "d"}});
    QTest::newRow("bare word") << "a:/b=de" << QString() << QVariant();
    QTest::newRow("no value") << "a:/b=" << QString() << QVariant();
    QTest::newRow("no equals sign") << "a:/b" << QString() << QVariant();
    QTest::newRow("no worker") << "/b=1" << QString() << QVariant();
}

void TestDeviceDescription::overridesValue() {
    QFETCH(QString, assignment);
    QFETCH(QString, path);
    QFETCH(QVariant, value);
    DeviceDescription description;
    QString error;
    QCOMPARE(description.override(assignment, &error), !path.isEmpty());
    QCOMPARE(error.isEmpty(), !path.isEmpty());
    QCOMPARE(description.overriddenPaths().join(QString()), path);
    QCOMPARE(description.nodes().value(path).toHash().value("value"), value);
}

QTEST_GUILESS_MAIN(TestDeviceDescription)
#include "test_devicedescription.moc"
