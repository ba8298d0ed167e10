// SPDX-License-Identifier: MIT
#include "core/model/cmerror.h"
#include "core/plixjson.h"

#include <QTest>

#include <climits>
#include <cmath>

class TestJson : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // What a text becomes when it is written again.
    void reads() {
        const QPair<QByteArray, QByteArray> rows[] = {
            {"9223372036854775807", "9223372036854775807"},
            {"18446744073709551615", "18446744073709551615"},
            {"-9223372036854775808", "-9223372036854775808"},
            {"-9223372036854777856", "-9223372036854777856"},
            {"18446744073709551616", "18446744073709551616"},
            {"1.7976931348623157e308", "1.7976931348623157e+308"},
            // An exponent beyond an int.
            {"0.0000000001e-2147483639", "0"},
            {R"("a\u0000b")", R"("a\u0000b")"},
            // A byte order mark within a string stays.
            {R"("\ufeffa")", "\"\xEF\xBB\xBF\x61\""},
            {R"({"a":1,"a":2})", R"({"a":2})"}};
        for (const auto& [text, written] : rows) {
            PlixError error;
            const QVariant value = PlixJson::parse(text, error);
            QVERIFY2(error.isEmpty() && value.isValid(), text.constData());
            QCOMPARE(PlixJson::serialize(value), written);
        }
    }

    void refuses() {
        const std::tuple<const char*, QByteArray, int> rows[] = {
            {"nothing", "", 0},
            {"raw NUL in a string", QByteArray("\"a\0\"", 4), 2},
            {"byte order mark", "\xEF\xBB\xBF{}", 0},
            {"overflow", "1e999", 0},
            {"cut off in a character", "\"\xE2\x82", 1},
            {"high surrogate alone", R"("\ud800x")", 1},
            {"low surrogate alone", R"(["\udc00"])", 9},
            {"overlong UTF-8", "\"\xC0\xAF\"", 1},
            {"surrogate in UTF-8", "\"\xED\xA0\x80\"", 1},
            {"too many values", '[' + QByteArray("0,").repeated(PlixJson::maximumValues) + "0]",
             2 * PlixJson::maximumValues + 1},
            {"nested too deep", QByteArray(100000, '['), PlixJson::maximumDepth}};
        for (const auto& [name, text, refusedAt] : rows) {
            PlixError error;
            uint position = UINT_MAX;
            QVERIFY2(!PlixJson::parse(text, error, &position).isValid(), name);
            QVERIFY2(!error.isEmpty() && position == uint(refusedAt), name);
        }
    }

    void writes() {
        const QPair<QVariant, QByteArray> rows[] = {
            {{}, "null"},
            {HUGE_VAL, "null"},
            {QString("\x1f/\x7f"), "\"\\u001F/\x7f\""},
            // Surrogates in the wrong order.
            {QString(QChar(0xDC00)) + QChar(0xD800), "\"\xEF\xBF\xBD\xEF\xBF\xBD\""},
            {QByteArray("a\0\xFF", 3), "\"a\\u0000\xEF\xBF\xBD\""},
            {QVariantHash{{"b", 1}, {"a", 2}, {"ab", 3}, {"", 4}}, R"({"":4,"a":2,"ab":3,"b":1})"},
            {QVariant::fromValue(CMError::fromMessage("no")),
             R"({"message":"no","name":"Error","title":"Error"})"}};
        for (const auto& [value, text] : rows)
            QCOMPARE(PlixJson::serialize(value), text);
        const QString part(PlixJson::maximumLength / 8, '\n');
        QCOMPARE(PlixJson::serialize(QVariantList{part, part, part}).size(),
                 6 * part.size() + 3 * 2 + 2 + 2);
        QVERIFY(PlixJson::serialize(QVariantList{part, part, part, part, "x"}).isNull());
    }

    void writesWhatItReads() {
        PlixError error;
        const int depth = PlixJson::maximumDepth;
        const QByteArray deepest = QByteArray(depth, '[') + QByteArray(depth, ']');
        const QVariant value = PlixJson::parse(deepest, error);
        QCOMPARE(PlixJson::serialize(value), deepest);
        QCOMPARE(PlixJson::serialize(QVariantList{value}).count("null"), 1);
    }
};

QTEST_APPLESS_MAIN(TestJson)
#include "test_json.moc"
