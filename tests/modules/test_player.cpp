#include "core/model/cmrootworker.h"
#include "datamodel.h"
#include "playerworker.h"

#include <QtTest>

namespace {

QVariantHash node(const QString& title, qint64 durationMs) {
    return {{"title", title},
            {"type", "audio"},
            {"description", "Band"},
            {"icon", "media:/covers/" + title},
            {"value", QVariantHash{{"string_", "media:/" + title}}},
            {"maximum", durationMs}};
}

// A command is an action and its argument, if any: `player/play {"index": 2}`.
QString activate(const QString& command) {
    const QByteArray argument = command.section(' ', 1).toUtf8();
    return setData("player:" + command.section(' ', 0, 0), "activate", json(argument));
}

QVariantHash record(const QString& name) {
    return valueOf("player:player/" + name);
}
qint64 position() {
    return PlixValue(record("position")).i64_();
}
// The state, the current track and the titles of the queue.
QString player() {
    const QStringList words{PlixValue(record("state")).string_(),
                            record("track").value("title").toString()};
    return (words + titlesOf("player:queue")).join(' ');
}

} // namespace

class TestPlayer : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // The media worker's list is filled after the player has started.
    void init() {
        m_media = std::make_unique<CMNodesWorker>(QVariantHash(), "media");
        const QVector<QVariantHash> rows{node("a", 400), node("b", 300), node("c", 60000)};
        for (const QVariantHash& track : rows + QVector{node("d", 0)})
            m_media->setNode("media:/" + track.value("title").toString(), track);
        m_player = std::make_unique<PlayerWorker>(QVariantHash());
        QCoreApplication::processEvents();
        m_media->setRows("media:/", rows);
    }

    void cleanup() { m_player.reset(); }

    void playsThroughTheQueue() {
        QCOMPARE(player(), QStringLiteral("stopped a a b c"));
        activate(R"(queue/remove {"index": 2})");
        m_clock.start();
        QCOMPARE(activate("player/play"), QString());
        QCOMPARE(record("track"), json(R"({"title": "a", "artist": "Band", "path": "media:/a",
                                       "cover": "media:/covers/a", "duration": 400})")
                                      .toHash());
        QTRY_COMPARE(player(), QStringLiteral("playing b a b"));
        QVERIFY(m_clock.elapsed() >= 400);
        QTRY_VERIFY(player().startsWith("stopped"));
        QVERIFY(m_clock.elapsed() >= 700 && m_clock.elapsed() < 2000);
        QCOMPARE(position(), 0);
    }

    void positionFollowsTheClock() {
        activate(R"(player/play {"index": 2})");
        m_clock.start();
        QTest::qSleep(20);
        QVERIFY(position() >= 20 && qAbs(position() - m_clock.elapsed()) < 50);

        activate("player/pause");
        activate("player/seek 30000");
        QTest::qSleep(20);
        QCOMPARE(position(), 30000);
        activate("player/play");
        QVERIFY(position() >= 30000 && position() < 31000);
        activate(R"(player/seek {"i64_": 59900})");
        QTRY_VERIFY(player().startsWith("stopped"));
    }

    void obeys_data() {
        QTest::addColumn<QStringList>("commands");
        QTest::addColumn<QString>("outcome");
        const auto row = [](const char* name, const QStringList& commands, const QString& outcome) {
            QTest::newRow(name) << commands << outcome;
        };
        const auto play = [](int index) {
            return QStringLiteral(R"(player/play {"index": %1})").arg(index);
        };
        row("play a path", {R"(player/play {"path": "media:/b"})"}, "playing b a b c");
        row("play a text", {R"(player/play "media:/b")"}, "playing b a b c");
        row("play a value", {R"(player/play {"string_": "media:/b"})"}, "playing b a b c");
        row("play what joins the queue", {R"(player/play "media:/d")"}, "playing d a b c d");
        row("play nothing", {"queue/clear", "player/play"}, "outOfRange");
        row("play beyond the queue", {play(2), play(3)}, "outOfRange");
        row("play no node", {play(2), R"(player/play "media:/none")"}, "nodeNotFound");
        row("play a number", {play(2), "player/play 1"}, "typeMismatch");
        row("play a fraction", {R"(player/play {"index": 0.5})"}, "typeMismatch");
        row("previous after a while", {play(2), "player/seek 3000", "player/previous"},
            "playing c a b c");
        row("previous at the start", {play(1), "player/previous", "player/previous"},
            "playing a a b c");
        row("next", {play(0), "player/next", "player/next"}, "playing c a b c");
        row("seek while stopped", {"player/seek 5"}, "outOfRange");
        row("seek beyond the end", {play(2), "player/seek 60001"}, "outOfRange");
        row("seek to a text", {play(2), R"(player/seek "x")"}, "typeMismatch");

        const auto edit = [&](const char* name, const QString& command, const QString& outcome) {
            row(name, {play(1), "queue/" + command, "player/next"}, outcome);
        };
        edit("insert before", R"(insert {"path": "media:/d", "index": 1})", "playing c a d b c");
        edit("insert behind", R"(insert {"path": "media:/d", "index": 2})", "playing d a b d c");
        edit("append", R"(insert {"path": "media:/d"})", "playing c a b c d");
        edit("remove behind", R"(remove {"index": 2})", "stopped b a b");
        edit("remove current", R"(remove {"index": 1})", "stopped c a c");
        edit("move over it", R"(move {"index": 0, "toIndex": 2})", "playing c b c a");
        edit("move it", R"(move {"index": 1, "toIndex": 0})", "playing a b a c");
        row("insert beyond", {R"(queue/insert {"path": "media:/d", "index": 4})"}, "outOfRange");
        row("remove before", {R"(queue/remove {"index": -1})"}, "outOfRange");
        row("move beyond", {R"(queue/move {"index": 0, "toIndex": 3})"}, "outOfRange");
    }

    // The outcome of the last command is its error or what the player then does.
    void obeys() {
        QFETCH(QStringList, commands);
        QString before;
        QString error;
        for (const QString& command : commands) {
            before = player();
            error = activate(command);
        }
        QTEST(error.isNull() ? player() : error, "outcome");
        QVERIFY(error.isNull() || player() == before);
    }

private:
    CMRootWorker m_root;
    std::unique_ptr<CMNodesWorker> m_media;
    std::unique_ptr<PlayerWorker> m_player;
    QElapsedTimer m_clock;
};

QTEST_GUILESS_MAIN(TestPlayer)
#include "test_player.moc"
