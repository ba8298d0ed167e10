#include "core/mimetypes.h"
#include "core/model/cmpath.h"
#include "core/plixjson.h"
#include "core/plixvalue.h"

#include <QTest>

// Values and texts in JSON, which says their types.
class TestValue : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void converts_data();
    void converts();
    void makesRecordsOfScalars();
    void rendersText();
    void readsNumbersWithinTheirRange();
    void readsIntegers();
    void findsMimeTypes();
    void findsTheWorkerOfAPath();

private:
    static QVariant json(const QByteArray& text) {
        PlixError error;
        return PlixJson::parse(text, error);
    }
    static PlixValue record(const QByteArray& text) { return PlixValue(json(text).toHash()); }
};

void TestValue::converts_data() {
    QTest::addColumn<QByteArray>("stored");
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QByteArray>("result");

    const auto row = [](const char* name, const char* stored, const char* value,
                        const char* result) {
        QTest::newRow(name) << QByteArray(stored) << QByteArray(value) << QByteArray(result);
    };
    row("whole real to i32", R"({"i32_":1})", "2.0", R"({"i32_":2})");
    row("fraction to i32", R"({"i32_":1})", "2.5", "");
    row("beyond i32", R"({"i32_":1})", "2147483648", "");
    row("smallest i32", R"({"i32_":1})", "-2147483648", R"({"i32_":-2147483648})");
    row("beyond i64", R"({"i64_":1})", "9223372036854775808", "");
    row("huge real to i64", R"({"i64_":1})", "1e300", "");
    row("2^53 to double", R"({"double_":1})", "9007199254740992",
        R"({"double_":9007199254740992})");
    row("2^53+1 to double", R"({"double_":1})", "9007199254740993", "");
    row("2^63-1 to double", R"({"double_":1})", "9223372036854775807", "");
    row("digits to i32", R"({"i32_":1})", "\"5\"", "");
    row("bool to i32", R"({"i32_":1})", "true", "");
    row("number to bool", R"({"bool_":true})", "0", "");
    row("number to string", R"({"string_":"a"})", "5", "");
    row("string", R"({"string_":"a"})", "\"b\"", R"({"string_":"b"})");
    row("null", R"({"string_":"a"})", "null", "");
    row("record of another numeric type", R"({"i32_":1})", R"({"double_":7})", R"({"i32_":7})");
    row("record against its own type", R"({"i32_":1})", R"({"bool_":7})", "");
    row("record of two members", R"({"i32_":1})", R"({"i32_":7,"i64_":7})", "");
    row("record of no type", R"({"i32_":1})", R"({"other":7})", "");
    row("untyped node", R"({"other":1})", "7", "");
    row("empty node", "{}", "7", "");
}

void TestValue::converts() {
    QFETCH(QByteArray, stored);
    QFETCH(QByteArray, value);
    QFETCH(QByteArray, result);
    PlixValue converted;
    QCOMPARE(record(stored).convert(json(value), &converted), !result.isEmpty());
    QCOMPARE(converted, record(result));
}

void TestValue::makesRecordsOfScalars() {
    const QPair<const char*, const char*> rows[] = {{"30", R"({"i32_":30})"},
                                                    {"2147483648", R"({"i64_":2147483648})"},
                                                    {"2.0", R"({"double_":2})"},
                                                    {"\"a\"", R"({"string_":"a"})"},
                                                    {"false", R"({"bool_":false})"},
                                                    {"18446744073709551615", "{}"},
                                                    {"null", "{}"},
                                                    {"[1]", "{}"}};
    for (const auto& [scalar, result] : rows)
        QVERIFY2(PlixValue::fromScalar(json(scalar)) == record(result), scalar);
}

void TestValue::rendersText() {
    const QPair<const char*, const char*> rows[] = {
        {R"({"string_":" a\n"})", " a\n"},
        {R"({"bool_":true})", "true"},
        {R"({"i32_":-5})", "-5"},
        {R"({"i64_":9007199254740993})", "9007199254740993"},
        {R"({"double_":0.1})", "0.1"},
        {R"({"double_":2})", "2"},
        {"{}", ""},
        {R"({"other":1})", ""}};
    for (const auto& [value, text] : rows)
        QVERIFY2(plixValueToQString(record(value)) == QLatin1String(text), value);
}

void TestValue::readsNumbersWithinTheirRange() {
    QCOMPARE(record(R"({"i32_":30})").i32_(), 30);
    QCOMPARE(record(R"({"i32_":4294967297})").i32_(), 0);
    QCOMPARE(record(R"({"i32_":"30"})").i32_(), 0);
    QCOMPARE(record(R"({"i64_":1e19})").i64_(), qint64(0));
    QCOMPARE(record(R"({"bool_":"x"})").bool_(), false);
}

void TestValue::readsIntegers() {
    bool ok = false;
    for (const char* value : {"12", "12.0", "\"12\""}) {
        QCOMPARE(plixToInt(json(value), &ok), 12);
        QVERIFY2(ok, value);
    }
    QCOMPARE(plixToInt(QStringLiteral("-1"), &ok), -1);
    for (const char* value : {"1099511627776", "12.5", "true", "null", "[1]", "\"2147483648\"",
                              "\"12.5\"", "\" 12\"", "\"+12\"", "\"12\\u0000\"", "\"\""}) {
        QCOMPARE(plixToInt(json(value), &ok), 0);
        QVERIFY2(!ok, value);
    }
}

void TestValue::findsMimeTypes() {
    const auto type = [](const char* name) {
        return MimeTypes::URIToMimeType(QString::fromLatin1(name), QStringLiteral("unknown"));
    };
    QCOMPARE(type("/a.b/index.HTML"), MimeTypes::Text::html());
    QCOMPARE(type("x.min.js"), QStringLiteral("text/javascript"));
    // The first and the last entry of the table, and some between.
    QCOMPARE(type("a.7z"), QStringLiteral("application/x-7z-compressed"));
    QCOMPARE(type("a.zip"), QStringLiteral("application/zip"));
    QCOMPARE(type("a.woff2"), QStringLiteral("font/woff2"));
    QCOMPARE(type("a.m3u8"), QStringLiteral("application/vnd.apple.mpegurl"));
    for (const char* name : {"", "html", "/a.html/b", "a.", "a.zzz", "a.0"})
        QCOMPARE(type(name), QStringLiteral("unknown"));
}

void TestValue::findsTheWorkerOfAPath() {
    const auto worker = [](const char* path) {
        return CMPath::fromEncoded(QString::fromLatin1(path)).worker();
    };
    QCOMPARE(worker("player:player/a:b"), QStringLiteral("player"));
    for (const char* path : {"", "/player:x", "player", ":x"})
        QCOMPARE(worker(path), QString());
}

QTEST_APPLESS_MAIN(TestValue)
#include "test_value.moc"
