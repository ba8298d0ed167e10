// SPDX-License-Identifier: MIT
#include "datamodel.h"
#include "devicedescription.h"

#include <QtTest>

namespace {

const QPair<const char*, const char*> refusals[] = {
    {R"({"nodes": {)", "not valid JSON at byte 11"},
    {"[]", "not a JSON object"},
    {R"({"node": {}})", R"(unknown member "node")"},
    {R"({"platform": {"firmwareUpdateDataPipe": "x"}})", "not an absolute path"},
    {R"({"platform": {"readPathPrefix": "/x"}})", "does not end with"},
    {R"({"platform": {"readPathPrefix": "/(/"}})", "regular expression"},
    {R"({"workers": [{"config": {}}]})", "a worker is not"},
    {R"({"workers": [{"library": "../x"}]})", R"("../x" is not the name)"},
    {R"({"workers": [{"library": "a"}, {"library": "a"}]})", "listed twice"},
    {R"({"workers": [{"library": "a", "config": []}]})", R"("config" of)"},
    {R"({"nodes": {"/a:b": {}}})", "names no worker"},
    {R"({"platform": {"readPathPrefix": "/b/"}, "workers": [], "nodes": {"a:b": 1}})",
     R"(node "a:b" is not an object)"},
    {R"({"nodes": {"a:b": {"rows": [1]}}})", R"(a row of node "a:b")"}};

const QPair<const char*, const char*> overrides[] = {
    {"a:/b=9000", R"({"a:/b":{"value":{"i32_":9000}}})"},
    {R"(a:/b="x=y")", R"({"a:/b":{"value":{"string_":"x=y"}}})"},
    {R"(a:/b={"c":"d"})", R"({"a:/b":{"value":{"c":"d"}}})"},
    {"a:/b=de", "{}"},
    {"a:/b", "{}"},
    {"/b=1", "{}"}};

} // namespace

class TestDeviceDescription : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void refusesWrongFile() {
        for (const auto& [file, reason] : refusals) {
            DeviceDescription description;
            QString error;
            QVERIFY(description.merge(R"({"workers": [{"library": "a"}]})", &error));
            QVERIFY2(!description.merge(file, &error), file);
            QVERIFY2(error.contains(reason), qPrintable(error));
            // Nothing of it was taken over.
            QVERIFY(description.nodes().isEmpty() && description.workers().size() == 1);
            QVERIFY(description.readPathPrefix() != "/b/");
        }
    }

    void laterFilesMergeOverEarlierOnes() {
        DeviceDescription description;
        QString error;
        QVERIFY(description.merge(R"({
            "platform": {"readPathPrefix": "/a/", "firmwareUpdateDataPipe": "/b"},
            "workers": [{"library": "plix_a", "config": {"x": 1}}, {"library": "plix_b"}],
            "nodes": {"ui:/a": {"title": "A", "value": {"i32_": 1}, "rows": [{"title": "1"}, {}]},
                      "player:b": {"title": "B"}}})",
                                  &error));
        QVERIFY(description.merge(R"({
            "platform": {"firmwareUpdateDataPipe": "/c"}, "workers": [{"library": "plix_c"}],
            "nodes": {"ui:/a": {"value": 2, "rows": [{"value": true}]}}})",
                                  &error));
        QCOMPARE(description.readPathPrefix(), QStringLiteral("/a/"));
        QCOMPARE(description.firmwareUpdateDataPipe(), QStringLiteral("/c"));
        QCOMPARE(description.workers().size(), 1);
        QCOMPARE(description.workers().first().library, QStringLiteral("plix_c"));
        QCOMPARE(
            PlixJson::serialize(description.nodes()),
            QByteArray(R"({"player:b":{"title":"B"},"ui:/a":{"rows":[{"value":{"bool_":true}}],)"
                       R"("title":"A","value":{"i32_":2}}})"));
    }

    void overridesValue() {
        for (const auto& [assignment, nodes] : overrides) {
            DeviceDescription description;
            QString error;
            const bool taken = description.override(assignment, &error);
            QCOMPARE(PlixJson::serialize(description.nodes()), QByteArray(nodes));
            QVERIFY(taken == error.isEmpty() && taken != description.overriddenPaths().isEmpty());
        }
    }
};

QTEST_GUILESS_MAIN(TestDeviceDescription)
#include "test_devicedescription.moc"
