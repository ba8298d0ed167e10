// SPDX-License-Identifier: MIT
#include "core/plixvalue.h"
#include "datamodel.h"
#include "table.h"

// Values and texts in JSON, which says their types.
class TestValue : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // What is stored, what is written, and what that becomes, if anything.
    void converts_data() {
        addRows(R"(
whole real to i32              |{"i32_":1}   |2.0                |{"i32_":2}
fraction to i32                |{"i32_":1}   |2.5                |
beyond i32                     |{"i32_":1}   |2147483648         |
huge real to i64               |{"i64_":1}   |1e300              |
2^53 to double                 |{"double_":1}|9007199254740992   |{"double_":9007199254740992}
2^53+1 to double               |{"double_":1}|9007199254740993   |
record of another numeric type |{"i32_":1}   |{"double_":7}      |{"i32_":7}
record against its own type    |{"i32_":1}   |{"bool_":7}        |
record of two members          |{"i32_":1}   |{"i32_":7,"i64_":7}|
untyped node                   |{"other":1}  |7                  |
)");
    }

    void converts() {
        QFETCH(const QByteArrayList, fields);
        PlixValue converted;
        QCOMPARE(record(fields[0]).convert(json(fields[1]), &converted), !fields[2].isEmpty());
        QCOMPARE(converted, record(fields[2]));
    }

    void makesRecordsOfScalars() {
        const auto made = [](const QByteArray& text) { return PlixValue::fromScalar(json(text)); };
        QCOMPARE(made("30"), record(R"({"i32_":30})"));
        QCOMPARE(made("2147483648"), record(R"({"i64_":2147483648})"));
        QCOMPARE(made("2.0"), record(R"({"double_":2})"));
        QCOMPARE(made("18446744073709551615"), record("{}"));
    }

    void rendersText() {
        const QPair<const char*, const char*> rows[] = {
            {R"({"string_":" a\n"})", " a\n"},
            {R"({"bool_":true})", "true"},
            {R"({"i64_":9007199254740993})", "9007199254740993"},
            {R"({"double_":0.1})", "0.1"},
            {R"({"double_":2})", "2"},
            {R"({"other":1})", ""}};
        for (const auto& [value, text] : rows)
            QVERIFY2(plixValueToQString(record(value)) == QLatin1String(text), value);
    }

    void readsNumbersWithinTheirRange() {
        QCOMPARE(record(R"({"i32_":4294967297})").i32_(), 0);
        QCOMPARE(record(R"({"i64_":1e19})").i64_(), qint64(0));
        const QPair<const char*, int> rows[] = {
            {"12.0", 12}, {R"("-1")", -1}, {"1099511627776", 0}, {"12.5", 0},
            {"true", 0},  {"[1]", 0},      {R"(" 12")", 0},      {R"("")", 0}};
        for (const auto& [value, number] : rows) {
            bool ok = true;
            QVERIFY2(plixToInt(json(value), &ok) == number && ok == (number != 0), value);
        }
    }

private:
    static PlixValue record(const QByteArray& text) { return PlixValue(json(text).toHash()); }
};

QTEST_APPLESS_MAIN(TestValue)
#include "test_value.moc"
