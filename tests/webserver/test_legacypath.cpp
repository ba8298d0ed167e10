#include "responders/legacypathhelper.h"

#include <QTest>

class TestLegacyPath : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void mapsPrefixes() {
        // No separator is needed after a prefix; one that is there stays.
        for (const auto& [legacy, current] : {std::pair("/player/volume", "player:player/volume"),
                                              std::pair("/playerlist", "player:playerlist"),
                                              std::pair("/ui/settings", "ui:/settings")}) {
            const CMPath from = CMPath::fromEncoded(legacy);
            const CMPath to = CMPath::fromEncoded(current);
            QCOMPARE(LegacyPathHelper::fromLegacy(from), to);
            QCOMPARE(LegacyPathHelper::toLegacy(to), from);
            QVERIFY(LegacyPathHelper::isLegacy(from) && !LegacyPathHelper::wasLegacy(from));
            QVERIFY(LegacyPathHelper::wasLegacy(to) && !LegacyPathHelper::isLegacy(to));
        }
    }

    void leavesOtherPaths() {
        for (const char* text : {"/other/x", "/Player/volume", "media:/player", ""}) {
            const CMPath path = CMPath::fromEncoded(text);
            QCOMPARE(LegacyPathHelper::fromLegacy(path), path);
            QCOMPARE(LegacyPathHelper::toLegacy(path), path);
        }
    }
};

QTEST_APPLESS_MAIN(TestLegacyPath)
#include "test_legacypath.moc"
