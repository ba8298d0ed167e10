#include "pageexpressions.h"
#include "responders/pagetemplate.h"

#include <QRandomGenerator>
#include <QTest>

class TestPageTemplate : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void matchesTheExpressions() {
        QRandomGenerator random(20261121);
        const QString alphabet = QStringLiteral("ab\\\\\"\"\"==  $$.\n\u00e9\u0301");
        for (int run = 0; run < 30000; ++run) {
            QString text = run % 2 ? QStringLiteral("c a=\"") : QString();
            for (int length = random.bounded(24); length > 0; --length)
                text += alphabet[random.bounded(alphabet.size())];
            QVERIFY2(PageExpressions::matchesExpressions(text), qPrintable(text));
        }
        for (int code = 0; code <= 0xffff; ++code)
            QVERIFY2(
                PageExpressions::matchesExpressions(QString("%1x%1a%1=\"v\"$%1").arg(QChar(code))),
                qPrintable(QString::number(code, 16)));
    }

    void buildsValues() {
        const QVector<std::tuple<const char*, const char*, QVariant>> rows{
            {"string", "5", "5"},
            {"int", "5", 5},
            {"INT", "5", QVariant()},
            {"float", "2.5", 2.5},
            {"json", "[true]", QVariantList{true}},
            {"PlixValue:bool_", "TRUE", QVariantHash{{"bool_", false}}},
            {"PlixValue:bool_", "1", QVariantHash{{"bool_", true}}},
            {"PlixValue:i32_", "99999999999", QVariantHash{{"i32_", 0}}},
            {"PlixValue:double_", "-2.9", QVariantHash{{"i64_", -2LL}}},
            {"PlixValue:double_", "1e300", QVariantHash{{"i64_", LLONG_MAX}}},
            {"PlixValue:double_", "nan", QVariantHash{{"i64_", 0LL}}},
            {"PlixValue:other", "5", QVariantHash()}};
        for (const auto& [type, text, value] : rows) {
            PlixError error;
            const QVariant actual = PageTemplate::toValue(type, text, &error);
            QVERIFY2(actual == value && actual.type() == value.type() && error.isEmpty(), type);
        }
    }
};

QTEST_APPLESS_MAIN(TestPageTemplate)
#include "test_pagetemplate.moc"
