#include "core/model/cmerror.h"
#include "core/plixjson.h"
#include "core/plixvalue.h"

#include <QTest>

#include <cmath>
#include <cstring>

class TestJson : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // What a text becomes when it is written again, or where it is refused.
    void reads_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("written");
        QTest::addColumn<int>("refusedAt");

        const auto read = [](const char* name, const QByteArray& text, const QByteArray& written) {
            QTest::newRow(name) << text << written << -1;
        };
        read("largest i64", "9223372036854775807", "9223372036854775807");
        read("largest u64", "18446744073709551615", "18446744073709551615");
        read("smallest i64", "-9223372036854775808", "-9223372036854775808");
        read("below i64", "-9223372036854777856", "-9223372036854777856");
        read("beyond u64", "18446744073709551616", "18446744073709551616");
        read("largest double", "1.7976931348623157e308", "1.7976931348623157e+308");
        read("exponent beyond an int", "0.0000000001e-2147483639", "0");
        read("NUL in a string", R"("a\u0000b")", R"("a\u0000b")");
        read("byte order mark in a string", R"("\ufeffa")", "\"\xEF\xBB\xBF\x61\"");
        read("repeated name", R"({"a":1,"a":2})", R"({"a":2})");

        const auto refuse = [](const char* name, const QByteArray& text, int position) {
            QTest::newRow(name) << text << QByteArray() << position;
        };
        refuse("nothing", "", 0);
        refuse("raw NUL in a string", QByteArray("\"a\0\"", 4), 2);
        refuse("byte order mark", "\xEF\xBB\xBF{}", 0);
        refuse("overflow", "1e999", 0);
        refuse("cut off in a character", "\"\xE2\x82", 1);
        refuse("high surrogate alone", R"("\ud800x")", 1);
        refuse("low surrogate alone", R"(["\udc00"])", 9);
        refuse("overlong UTF-8", "\"\xC0\xAF\"", 1);
        refuse("surrogate in UTF-8", "\"\xED\xA0\x80\"", 1);
        refuse("nested too deep", QByteArray(100000, '['), PlixJson::maximumDepth);
    }

    void reads() {
        QFETCH(QByteArray, text);
        QFETCH(int, refusedAt);
        PlixError error;
        uint position = 0;
        const QVariant value = PlixJson::parse(text, error, &position);
        QCOMPARE(error.isEmpty(), refusedAt < 0);
        QCOMPARE(value.isValid(), refusedAt < 0);
        if (refusedAt < 0)
            QTEST(PlixJson::serialize(value), "written");
        else
            QCOMPARE(position, uint(refusedAt));
    }

    void writes_data() {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("text");

        const auto row = [](const char* name, const QVariant& value, const QByteArray& text) {
            QTest::newRow(name) << value << text;
        };
        row("invalid", QVariant(), "null");
        row("infinity", HUGE_VAL, "null");
        row("controls", QString("\x1f/\x7f"), "\"\\u001F/\x7f\"");
        row("surrogates in the wrong order", QString(QChar(0xDC00)) + QChar(0xD800),
            "\"\xEF\xBF\xBD\xEF\xBF\xBD\"");
        row("bytes that are no UTF-8", QByteArray("a\0\xFF", 3), "\"a\\u0000\xEF\xBF\xBD\"");
        row("names in order", QVariantHash{{"b", 1}, {"a", 2}, {"ab", 3}, {"", 4}},
            R"({"":4,"a":2,"ab":3,"b":1})");
        row("error record", QVariant::fromValue(CMError::fromMessage("no")),
            R"({"message":"no","name":"Error","title":"Error"})");
    }

    void writes() {
        QFETCH(QVariant, value);
        QTEST(PlixJson::serialize(value), "text");
    }

    void writesWhatItReads() {
        PlixError error;
        const int depth = PlixJson::maximumDepth;
        const QByteArray deepest = QByteArray(depth, '[') + QByteArray(depth, ']');
        const QVariant value = PlixJson::parse(deepest, error);
        QCOMPARE(PlixJson::serialize(value), deepest);
        QCOMPARE(PlixJson::serialize(QVariantList{value}).count("null"), 1);

        quint64 bits = 1;
        for (int i = 0; i < 20000; ++i) {
            bits = bits * 6364136223846793005u + 1442695040888963407u;
            double number;
            std::memcpy(&number, &bits, sizeof number);
            const QByteArray text = PlixJson::serialize(number);
            QVERIFY2(!std::isfinite(number) || PlixJson::parse(text, error).toDouble() == number,
                     text.constData());
        }
    }
};

QTEST_APPLESS_MAIN(TestJson)
#include "test_json.moc"
