#include "responders/pagetemplate.h"

#include <QRandomGenerator>
#include <QRegExp>
#include <QTest>

namespace {

using Attributes = QHash<QString, QString>;

// The language as its expressions define it.
PageTemplate::Command parseByExpressions(const QString& instruction) {
    QRegExp command(QStringLiteral("^\\s*\\b(\\w+)\\b"));
    if (command.indexIn(instruction) < 0)
        return {};
    PageTemplate::Command result{command.cap(1), {}};
    QRegExp attribute(QStringLiteral("\\s*(\\w+)\\b=\"((?:[^\"]*(?:\\\\\")?)*)\""));
    int position = command.matchedLength();
    while ((position = attribute.indexIn(instruction, position)) >= 0) {
        result.attributes.insert(attribute.cap(1), attribute.cap(2).replace("\\\"", "\""));
        position += attribute.matchedLength();
    }
    return result;
}

QString substituteByExpression(QString text) {
    const QRegExp name(QStringLiteral("\\$(\\$|\\w+)"));
    int position = 0;
    while ((position = name.indexIn(text, position)) >= 0) {
        const QString replacement = name.cap(0) == "$$" ? "$" : "<" + name.cap(1) + ">";
        text.replace(position, name.cap(0) == "$$" ? 1 : name.matchedLength(), replacement);
        position += replacement.size();
    }
    return text;
}

QString substitute(const QString& text) {
    return PageTemplate::substitute(text, [](const QString& name) { return "<" + name + ">"; });
}

} // namespace

class TestPageTemplate : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void parsesAttributes_data() {
        QTest::addColumn<QString>("instruction");
        QTest::addColumn<Attributes>("attributes");

        // Apostrophes in place of quotes, for the reader's eyes.
        const auto row = [](const char* name, QString text, const Attributes& attributes) {
            QTest::newRow(name) << text.replace('\'', '"') << attributes;
        };
        row("escaped quote", "c a='x\\'y'", {{"a", "x\"y"}});
        row("no closing quote", "c a='x' b='y", {{"a", "x"}});
        row("only an escaped quote left to close", "c a='x\\' b", {{"a", "x\\"}});
        row("the last of one name holds", "c a='1' a='2'", {{"a", "2"}});
        row("blanks around the equals sign", "c a ='1' b= '2' d='3'", {{"d", "3"}});
        row("no blanks between", "c a='1'b='2'", {{"a", "1"}, {"b", "2"}});
        row("line breaks", "c\r\n a='1\r\n2'", {{"a", "1\r\n2"}});
        row("value without a name", "c ='1' a='2'", {{"a", "2"}});
    }

    void parsesAttributes() {
        QFETCH(const QString, instruction);
        const PageTemplate::Command command = PageTemplate::parseInstruction(instruction);
        QCOMPARE(command.name, QString("c"));
        QTEST(command.attributes, "attributes");
        QCOMPARE(parseByExpressions(instruction).attributes, command.attributes);
    }

    void matchesTheExpressions() {
        QRandomGenerator random(20261121);
        const QString alphabet = QStringLiteral("ab\\\\\"\"\"==  $$.\n\u00e9\u0301");
        for (int run = 0; run < 30000; ++run) {
            QString text = run % 2 ? QStringLiteral("c a=\"") : QString();
            for (int length = random.bounded(24); length > 0; --length)
                text += alphabet[random.bounded(alphabet.size())];
            const PageTemplate::Command expected = parseByExpressions(text);
            const PageTemplate::Command actual = PageTemplate::parseInstruction(text);
            QVERIFY2(actual.name == expected.name && actual.attributes == expected.attributes,
                     qPrintable(text));
            QCOMPARE(substitute(text), substituteByExpression(text));
        }
    }

    void classifiesCharactersAsTheExpressionsDo() {
        for (int code = 0; code <= 0xffff; ++code) {
            const QString text = QString("%1x%1a%1=\"v\"").arg(QChar(code));
            QCOMPARE(PageTemplate::parseInstruction(text).name, parseByExpressions(text).name);
            QCOMPARE(PageTemplate::parseInstruction(text).attributes,
                     parseByExpressions(text).attributes);
        }
    }

    void findsPieces() {
        const QString page = "<?plixx ?><?plix a?>b<?plix  ?>c?><?plix d";
        QStringList pieces;
        PageTemplate::Piece piece{};
        do {
            piece = PageTemplate::nextPiece(page, piece.next);
            pieces << piece.text.toString() << piece.instruction.toString();
        } while (piece.end == PageTemplate::Piece::Instruction);
        QCOMPARE(pieces, QStringList({"<?plixx ?>", "a", "b", " ", "c?>", "d"}));
        QCOMPARE(piece.end, PageTemplate::Piece::Unterminated);
        QCOMPARE(PageTemplate::nextPiece(page, 34).end, PageTemplate::Piece::Unterminated);
        QCOMPARE(PageTemplate::nextPiece("", 0).end, PageTemplate::Piece::Page);
    }

    void escapes() {
        const QString text = "<a&b>\"c'\\";
        QCOMPARE(PageTemplate::escapeHtml(text), QString("&lt;a&amp;b&gt;&quot;c'\\"));
        QCOMPARE(PageTemplate::escapeJs(text), QString("\\<a\\&b\\>\\\"c\\'\\\\"));
    }

    void substitutes() {
        QCOMPARE(substitute("$a-$$-$$b$$$-$"), QString("<a>-$$-$<b>$$$-$"));
        // Inserted text is not looked at again.
        const auto dollar = [](const QString&) { return QString("$b"); };
        QCOMPARE(PageTemplate::substitute("$a$a", dollar), QString("$b$b"));
    }

    void buildsValues_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVariant>("value");

        const auto typed = [](const char* member, const QVariant& value) {
            return QVariant(QVariantHash{{member, value}});
        };
        QTest::newRow("string") << "5" << QVariant("5");
        QTest::newRow("int") << "5" << QVariant(5);
        QTest::newRow("int ") << "5" << QVariant();
        QTest::newRow("float") << "2.5" << QVariant(2.5);
        QTest::newRow("json") << "[true]" << QVariant(QVariantList{true});
        QTest::newRow("") << "5" << QVariant();
        QTest::newRow("PlixValue:string_") << "x" << typed("string_", "x");
        QTest::newRow("PlixValue:bool_") << "TRUE" << typed("bool_", false);
        QTest::newRow("PlixValue:i32_") << "99999999999" << typed("i32_", 0);
        QTest::newRow("PlixValue:i64_") << "99999999999" << typed("i64_", qint64(99999999999));
        QTest::newRow("PlixValue:double_") << "-2.9" << typed("i64_", qint64(-2));
        QTest::newRow("PlixValue:other") << "x" << QVariant(QVariantHash());
    }

    void buildsValues() {
        QFETCH(const QString, text);
        QFETCH(const QVariant, value);
        PlixError error;
        const QVariant actual = PageTemplate::toValue(QTest::currentDataTag(), text, &error);
        QVERIFY(error.isEmpty());
        QCOMPARE(actual, value);
        QCOMPARE(actual.type(), value.type());
    }

    void cutsOffWhatDoesNotFit() {
        PlixError error;
        for (const char* text : {"1e300", "-1e300", "inf", "-inf", "nan", "9223372036854775808"})
            QVERIFY(PageTemplate::toValue("PlixValue:double_", text, &error).isValid());
        PageTemplate::toValue("json", "[", &error);
        QVERIFY(!error.message().isEmpty());
    }
};

QTEST_APPLESS_MAIN(TestPageTemplate)
#include "test_pagetemplate.moc"
