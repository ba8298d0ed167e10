#include "core/model/cmerror.h"
#include "core/plixjson.h"
#include "core/plixvalue.h"

#include <QTest>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>

class TestJson : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsValues_data();
    void readsValues();
    void refuses_data();
    void refuses();
    void limitsNesting();
    void writesValues_data();
    void writesValues();
    void keepsDoublesExact();
};

void TestJson::readsValues_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QVariant>("value");

    const auto row = [](const char* name, const QByteArray& text, const QVariant& value) {
        QTest::newRow(name) << text << value;
    };
    row("largest i64", "9223372036854775807", std::numeric_limits<qlonglong>::max());
    row("largest u64", "18446744073709551615", std::numeric_limits<qulonglong>::max());
    row("smallest i64", "-9223372036854775808", std::numeric_limits<qlonglong>::min());
    row("below i64", "-9223372036854775809", -9223372036854775808.0);
    row("beyond u64", "18446744073709551616", 18446744073709551616.0);
    row("rounded correctly", "8.5e-23", 8.5e-23);
    row("largest double", "1.7976931348623157e308", DBL_MAX);
    row("exponent beyond an int", "0.0000000001e-2147483639", 0.0);
    row("escapes", R"("\"\\\/\b\f\n\r\t\u00e4")", QString::fromUtf8("\"\\/\b\f\n\r\t\xC3\xA4"));
    row("surrogate pair", R"("\ud83d\ude00")", QString::fromUtf8("\xF0\x9F\x98\x80"));
    row("NUL in a string", R"("a\u0000b")", QString::fromLatin1("a\0b", 3));
    row("byte order mark in a string", R"("\ufeff\ufeffa")", QStringLiteral(u"\xFEFF\xFEFF") + "a");
    row("repeated name", R"({"a":1,"a":2})", QVariantHash{{"a", 2LL}});
}

void TestJson::readsValues() {
    QFETCH(QByteArray, text);
    QFETCH(QVariant, value);
    PlixError error;
    const QVariant fromBytes = PlixJson::parse(text, error);
    QVERIFY2(error.isEmpty(), qPrintable(error.message()));
    QCOMPARE(fromBytes, value);
    QCOMPARE(fromBytes.userType(), value.userType());
}

void TestJson::refuses_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<uint>("position");

    const auto row = [](const char* name, const QByteArray& text, uint position) {
        QTest::newRow(name) << text << position;
    };
    row("nothing", "", 0);
    row("cut off in a string", "\"abc", 4);
    row("text behind the value", "1 2", 2);
    row("NUL in a string", QByteArray("\"a\0\"", 4), 2);
    row("byte order mark", "\xEF\xBB\xBF{}", 0);
    row("overflow", "1e999", 0);
    row("cut off in a character", "\"\xE2\x82", 1);
    row("comma at the end", "[1,]", 3);
    row("leading zero", "01", 1);
    row("NaN", "NaN", 0);
    row("high surrogate alone", R"("\ud800x")", 1);
    row("overlong UTF-8", "\"\xC0\xAF\"", 1);
    row("surrogate in UTF-8", "\"\xED\xA0\x80\"", 1);
    row("low surrogate alone", R"(["\udc00"])", 9);
}

void TestJson::refuses() {
    QFETCH(QByteArray, text);
    PlixError error;
    uint position = 99;
    QVERIFY(!PlixJson::parse(text, error, &position).isValid());
    QVERIFY(error.message().contains(QStringLiteral(" at offset ")));
    QTEST(position, "position");
}

void TestJson::limitsNesting() {
    PlixError error;
    const QByteArray deepest =
        QByteArray(PlixJson::maximumDepth, '[') + QByteArray(PlixJson::maximumDepth, ']');
    const QVariant value = PlixJson::parse(deepest, error);
    QVERIFY(error.isEmpty());
    QCOMPARE(PlixJson::serialize(value), deepest);
    QCOMPARE(PlixJson::serialize(QVariantList{value}).count("null"), 1);

    PlixJson::parse(QByteArray(100000, '['), error);
    QCOMPARE(error.message(), QStringLiteral("Values are nested too deep at offset 512"));
}

void TestJson::writesValues_data() {
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("text");

    const auto row = [](const char* name, const QVariant& value, const QByteArray& text) {
        QTest::newRow(name) << value << text;
    };
    row("invalid", QVariant(), "null");
    row("infinity", HUGE_VAL, "null");
    row("largest u64", std::numeric_limits<qulonglong>::max(), "18446744073709551615");
    row("controls", QString::fromLatin1("\0\"\\\n\x1f/\x7f", 7),
        "\"\\u0000\\\"\\\\\\n\\u001F/\x7f\"");
    row("surrogates in the wrong order", QString(QChar(0xDC00)) + QChar(0xD800) + "a",
        "\"\xEF\xBF\xBD\xEF\xBF\xBD"
        "a\"");
    row("bytes that are no UTF-8", QByteArray("a\0\xFF", 3), "\"a\\u0000\xEF\xBF\xBD\"");
    row("names in order", QVariantHash{{"b", 1}, {"a", 2}, {"ab", 3}, {"", 4}},
        R"({"":4,"a":2,"ab":3,"b":1})");
    row("record", QVariant::fromValue(PlixValue::fromScalar(5)), R"({"i32_":5})");
    row("error record", QVariant::fromValue(CMError::fromMessage("no")),
        R"({"message":"no","name":"Error","title":"Error"})");
    row("object", QVariant::fromValue<QObject*>(nullptr), "null");
}

void TestJson::writesValues() {
    QFETCH(QVariant, value);
    QTEST(PlixJson::serialize(value), "text");
}

void TestJson::keepsDoublesExact() {
    PlixError error;
    quint64 bits = 1;
    for (int i = 0; i < 20000; ++i) {
        bits = bits * 6364136223846793005u + 1442695040888963407u;
        double number;
        std::memcpy(&number, &bits, sizeof number);
        if (!std::isfinite(number))
            continue;
        const QVariant back = PlixJson::parse(PlixJson::serialize(number), error);
        QVERIFY2(back.toDouble() == number, PlixJson::serialize(number).constData());
    }
}

QTEST_APPLESS_MAIN(TestJson)
#include "test_json.moc"
