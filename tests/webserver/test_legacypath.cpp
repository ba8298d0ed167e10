#include "responders/legacypathhelper.h"

#include <QTest>

class TestLegacyPath : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void mapsPrefixes_data() {
        QTest::addColumn<QString>("legacy");
        QTest::addColumn<QString>("current");

        QTest::newRow("player") << "/player/volume"
                                << "player:player/volume";
        QTest::newRow("the slash after the prefix is kept") << "/ui/settings"
                                                            << "ui:/settings";
        QTest::newRow("prefix alone") << "/ui"
                                      << "ui:";
        QTest::newRow("no separator needed") << "/uiX"
                                             << "ui:X";
        QTest::newRow("longer word") << "/playerlist"
                                     << "player:playerlist";
    }

    void mapsPrefixes() {
        QFETCH(const QString, legacy);
        QFETCH(const QString, current);
        const CMPath legacyPath = CMPath::fromEncoded(legacy);
        const CMPath currentPath = CMPath::fromEncoded(current);

        QCOMPARE(LegacyPathHelper::fromLegacy(legacyPath), currentPath);
        QCOMPARE(LegacyPathHelper::toLegacy(currentPath), legacyPath);
        QVERIFY(LegacyPathHelper::isLegacy(legacyPath));
        QVERIFY(!LegacyPathHelper::wasLegacy(legacyPath));
        QVERIFY(LegacyPathHelper::wasLegacy(currentPath));
        QVERIFY(!LegacyPathHelper::isLegacy(currentPath));
    }

    void leavesOtherPaths() {
        for (const char* text :
             {"/other/x", "/Player/volume", "media:/player", "player:queue", ""}) {
            const CMPath path = CMPath::fromEncoded(QString::fromUtf8(text));
            QCOMPARE(LegacyPathHelper::fromLegacy(path), path);
            QCOMPARE(LegacyPathHelper::toLegacy(path), path);
            QVERIFY(!LegacyPathHelper::isLegacy(path) && !LegacyPathHelper::wasLegacy(path));
        }
    }
};

QTEST_APPLESS_MAIN(TestLegacyPath)
#include "test_legacypath.moc"
