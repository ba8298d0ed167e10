#include "core/plixurl.h"

#include <QTest>

class TestUrl : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsPathAndQuery_data();
    void readsPathAndQuery();
    void findsQueryItems();
    void replacesComponents();
    void encodesTextOfPeople();
};

void TestUrl::readsPathAndQuery_data() {
    QTest::addColumn<QByteArray>("url");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("query");

    const auto row = [](const QByteArray& url, const QString& path, const char* query) {
        QTest::newRow(url.constData()) << url << path << QByteArray(query);
    };
    row("http://h:80/a?b", "/a", "b");
    row("http://h//etc/passwd", "//etc/passwd", nullptr);
    row("http://h/%2e%2E%2fetc%2Fpasswd", "/../etc/passwd", nullptr);
    row("http://h/a/../b/./c", "/a/../b/./c", nullptr);
    row("http://h/a%00b", QString::fromLatin1("/a\0b", 4), nullptr);
    row("http://h/%C3%A4%ff", QStringLiteral("/\u00e4\uFFFD"), nullptr);
    row("http://h/%zz%41%4", "/%zzA%4", nullptr);
    row("http://h/%252e", "/%2e", nullptr);
    row("http://h?a/b?c", "", "a/b?c");
    row("http://h/?%7e%41=%2B+#f?g", "/", "%7e%41=%2B+");
    row("http://h/x?", "/x", "");
    // Hosts that the parser of QUrl rejects.
    row("http://a_b-.local/x?y", "/x", "y");
    row("http://[zz]:99999/x:y", "/x:y", nullptr);
    row("/rel:x//y?z", "/rel:x//y", "z");
    row("*", "*", nullptr);
    row("", "", nullptr);
}

void TestUrl::readsPathAndQuery() {
    QFETCH(QByteArray, url);
    QFETCH(QByteArray, query);
    const PlixUrl parsed = PlixUrl::fromEncoded(url);
    QTEST(parsed.path(), "path");
    QCOMPARE(parsed.encodedQuery(), query);
    QCOMPARE(parsed.encodedQuery().isNull(), query.isNull());
    QCOMPARE(parsed.toEncoded(), url);
    QCOMPARE(parsed.isEmpty(), url.isEmpty());
}

void TestUrl::findsQueryItems() {
    const PlixUrl url = PlixUrl::fromEncoded(
        "http://h/?a=1&a=2&%62=x%3D%26y=z&flag&&e=&plus=a+b&nul=%00x&bad=%E4#a=3");
    const auto value = [&url](const char* name) {
        return url.queryItemValue(QString::fromLatin1(name));
    };
    QCOMPARE(value("a"), QStringLiteral("1"));
    QCOMPARE(value("b"), QStringLiteral("x=&y=z"));
    QCOMPARE(value("plus"), QStringLiteral("a+b"));
    QCOMPARE(value("nul"), QString::fromLatin1("\0x", 2));
    QCOMPARE(value("bad"), QString(QChar::ReplacementCharacter));
    for (const char* name : {"flag", "e"}) {
        QVERIFY(url.hasQueryItem(QString::fromLatin1(name)));
        QVERIFY(value(name).isEmpty() && !value(name).isNull());
    }
    QVERIFY(!url.hasQueryItem(QStringLiteral("y")));
    QVERIFY(value("A").isNull());
}

void TestUrl::replacesComponents() {
    PlixUrl url = PlixUrl::fromEncoded("HTTP://h:8080/a%2Fb?q=%41#f");
    QCOMPARE(url.scheme(), QStringLiteral("http"));
    url.setPath(QStringLiteral("//a b/%2e?#\u00e4\r\n"));
    QCOMPARE(url.toEncoded(), QByteArray("HTTP://h:8080//a%20b/%252e%3F%23%C3%A4%0D%0A?q=%41#f"));
    QCOMPARE(url.path(), QStringLiteral("//a b/%2e?#\u00e4\r\n"));
    url.setEncodedQuery("a b\r\n\xE4");
    QCOMPARE(url.encodedQuery(), QByteArray("a%20b%0D%0A%E4"));
    url.setEncodedQuery(QByteArray());
    QVERIFY(!url.toEncoded().contains('?'));
    QVERIFY(PlixUrl::fromEncoded("http://h/\r\nSet-Cookie: x")
                .toEncoded()
                .endsWith("/%0D%0ASet-Cookie:%20x"));
}

void TestUrl::encodesTextOfPeople() {
    const PlixUrl url(QStringLiteral("http://h/\u00e4 b?c d"));
    QVERIFY(url.isValid());
    QCOMPARE(url.toEncoded(), QByteArray("http://h/%C3%A4%20b?c%20d"));
    QCOMPARE(url.toQUrl().host(), QStringLiteral("h"));
    QVERIFY(!PlixUrl(QStringLiteral("http://a..b/x")).isValid());
    QCOMPARE(PlixUrl(QStringLiteral("http://a..b/x y")).path(), QStringLiteral("/x y"));
}

QTEST_APPLESS_MAIN(TestUrl)
#include "test_url.moc"
