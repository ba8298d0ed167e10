// SPDX-License-Identifier: MIT
#include "core/plixurl.h"

#include <QTest>

class TestUrl : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void readsPathAndQuery() {
        const std::tuple<QByteArray, QString, QByteArray> rows[] = {
            {"http://h:80/a?b", "/a", "b"},
            {"http://h//etc/passwd", "//etc/passwd", {}},
            {"http://h/%2e%2E%2fetc%2Fpasswd", "/../etc/passwd", {}},
            {"http://h/a%00b", QString::fromLatin1("/a\0b", 4), {}},
            {"http://h/%zz%41%4%C3%A4%ff", QStringLiteral("/%zzA%4\u00e4\uFFFD"), {}},
            {"http://h/?%7e%41=%2B+#f?g", "/", "%7e%41=%2B+"},
            // A host that the parser of QUrl rejects.
            {"http://a_b-.local/x?y", "/x", "y"},
            {"*", "*", {}},
            {"", "", {}}};
        for (const auto& [url, path, query] : rows) {
            const PlixUrl parsed = PlixUrl::fromEncoded(url);
            QCOMPARE(parsed.toEncoded(), url);
            QCOMPARE(parsed.path(), path);
            QCOMPARE(parsed.encodedQuery(), query);
            QCOMPARE(parsed.encodedQuery().isNull(), query.isNull());
            QCOMPARE(parsed.isEmpty(), url.isEmpty());
        }
    }

    void findsQueryItems() {
        const PlixUrl url =
            PlixUrl::fromEncoded("http://h/?a=1&a=2&%62=x%3D%26y=z&flag&&plus=a+b&bad=%E4#a=3");
        const auto value = [&url](const char* name) {
            return url.queryItemValue(QString::fromLatin1(name));
        };
        QCOMPARE(value("a"), QStringLiteral("1"));
        QCOMPARE(value("b"), QStringLiteral("x=&y=z"));
        QCOMPARE(value("plus"), QStringLiteral("a+b"));
        QCOMPARE(value("bad"), QString(QChar::ReplacementCharacter));
        QVERIFY(url.hasQueryItem("flag") && !value("flag").isNull() && !url.hasQueryItem("y"));
        QVERIFY(value("A").isNull());
    }

    void replacesComponents() {
        PlixUrl url = PlixUrl::fromEncoded("HTTP://h:8080/a%2Fb?q=%41#f");
        url.setPath(QStringLiteral("//a b/%2e?#\u00e4\r\n"));
        QCOMPARE(url.toEncoded(),
                 QByteArray("HTTP://h:8080//a%20b/%252e%3F%23%C3%A4%0D%0A?q=%41#f"));
        url.setEncodedQuery("a b\r\n\xE4");
        QCOMPARE(url.encodedQuery(), QByteArray("a%20b%0D%0A%E4"));
        QVERIFY(PlixUrl::fromEncoded("http://h/\r\nSet-Cookie: x")
                    .toEncoded()
                    .endsWith("/%0D%0ASet-Cookie:%20x"));
    }
};

QTEST_APPLESS_MAIN(TestUrl)
#include "test_url.moc"
