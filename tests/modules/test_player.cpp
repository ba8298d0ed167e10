#include "core/model/cmroot.h"
#include "core/model/cmrootworker.h"
#include "core/plixjson.h"
#include "playerworker.h"

#include <QtTest>

namespace {

QVariant json(const QByteArray& text) {
    PlixError error;
    return PlixJson::parse(text, error);
}

QVariantHash node(const QString& title, qint64 durationMs) {
    return {{"title", title},
            {"type", "audio"},
            {"description", "Band"},
            {"icon", "media:/covers/" + title},
            {"value", QVariantHash{{"string_", "media:/" + title}}},
            {"maximum", durationMs}};
}

// The error's name; null when there is none.
QString activate(const QString& path, const QByteArray& argument = "null") {
    const CMReply<QVariant> reply;
    CMRoot()->setData(CMPath::fromEncoded("player:" + path), "activate", json(argument), reply);
    return reply.isFinished() ? reply.error().name() : QStringLiteral("unfinished");
}

QVariantHash record(const QString& path) {
    return CMRoot()->getValue(CMPath::fromEncoded("player:player/" + path)).toHash();
}

QString state() {
    return PlixValue(record("state")).string_();
}
QString track() {
    return record("track").value("title").toString();
}
qint64 position() {
    return PlixValue(record("position")).i64_();
}
// The state, the current track and the titles of the queue.
QString player() {
    const CMReply<PlixRowsRoles> reply;
    CMRoot()->getRows(CMPath::fromEncoded("player:queue"), 0, 100, -1, {"title"}, reply);
    QStringList words{state(), track()};
    for (const QVariant& row : reply.value().rows().toList())
        words.append(row.toList().first().toString());
    return words.join(' ');
}

} // namespace

class TestPlayer : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_player.reset();
        m_media = std::make_unique<CMNodesWorker>(QVariantHash(), "media");
        for (const auto& [title, duration] :
             {std::pair("a", 400), {"b", 300}, {"c", 60000}, {"d", 0}})
            m_media->setNode(QStringLiteral("media:/") + title, node(title, duration));
        m_media->setNode("media:/", {{"title", "Media"}, {"type", "container"}});
    }

    void playsThroughTheQueue() {
        start();
        QCOMPARE(player(), QStringLiteral("stopped a a b c"));
        activate("queue/remove", R"({"index": 2})");
        m_clock.start();
        QCOMPARE(activate("player/play"), QString());
        QCOMPARE(record("track"), json(R"({"title": "a", "artist": "Band", "path": "media:/a",
                                       "cover": "media:/covers/a", "duration": 400})")
                                      .toHash());
        QCOMPARE(PlixValue(record("duration")).i64_(), 400);
        QTRY_COMPARE(player(), QStringLiteral("playing b a b"));
        QVERIFY(m_clock.elapsed() >= 400);
        QTRY_COMPARE(state(), QStringLiteral("stopped"));
        QVERIFY(m_clock.elapsed() >= 700 && m_clock.elapsed() < 2000);
        QCOMPARE(position(), 0);
    }

    void positionFollowsTheClock() {
        start();
        m_root.connectValueChange(CMPath::fromEncoded("player:player/position"), this,
                                  SLOT(on_position_changed()));
        activate("player/play", R"({"index": 2})");
        m_positions.clear();
        m_clock.start();
        QTRY_VERIFY(m_positions.size() >= 4);
        for (int i = 1; i < m_positions.size(); ++i) {
            const qint64 gap = m_positions[i] - m_positions[i - 1];
            QVERIFY(gap > 150 && gap < 500);
        }
        // Exact between the announcements, which reading does not multiply.
        const int announced = m_positions.size();
        QTest::qSleep(20);
        QVERIFY(qAbs(position() - m_clock.elapsed()) < 50);
        QCOMPARE(m_positions.size(), announced);
    }

    void pausesAndSeeks() {
        start();
        QCOMPARE(activate("player/seek", "5"), CMErrorNames::outOfRange());
        activate("player/play", R"({"path": "media:/c"})");
        activate("player/pause");
        QCOMPARE(state(), QStringLiteral("paused"));
        QCOMPARE(activate("player/seek", "30000"), QString());
        QTest::qSleep(20);
        QCOMPARE(position(), 30000);
        QCOMPARE(activate("player/play", "true"), QString());
        QVERIFY(position() >= 30000 && position() < 31000);
        QCOMPARE(activate("player/seek", R"({"i64_": 59900})"), QString());
        QTRY_COMPARE(state(), QStringLiteral("stopped"));
    }

    void choosesWhatToPlay() {
        start();
        for (const QByteArray argument : {R"({"path": "media:/b"})", R"("media:/b")",
                                          R"({"string_": "media:/b"})", R"({"index": 1})"}) {
            activate("player/stop");
            QCOMPARE(activate("player/play", argument), QString());
            QCOMPARE(player(), QStringLiteral("playing b a b c"));
        }
        // Not in the queue: joins it.
        activate("player/play", R"("media:/d")");
        QCOMPARE(player(), QStringLiteral("playing d a b c d"));
        activate("queue/clear");
        QCOMPARE(activate("player/play"), CMErrorNames::outOfRange());
    }

    void previousAndNext() {
        start();
        activate("player/play", R"({"index": 2})");
        activate("player/seek", "3000");
        activate("player/previous");
        QCOMPARE(track(), QStringLiteral("c"));
        QVERIFY(position() < 1000);
        activate("player/previous");
        activate("player/previous");
        activate("player/previous");
        QCOMPARE(track(), QStringLiteral("a"));
        activate("player/next");
        activate("player/next");
        QCOMPARE(track(), QStringLiteral("c"));
        activate("player/next");
        QCOMPARE(state(), QStringLiteral("stopped"));
    }

    void editsQueue_data() {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QByteArray>("argument");
        QTest::addColumn<QString>("after");
        QTest::addColumn<QString>("next");
        const auto row = [](const char* name, const QString& action, const QByteArray& argument,
                            const QString& after, const QString& next) {
            QTest::newRow(name) << action << argument << "paused " + after << next;
        };
        // "b" is the current row of "a b c"; first comes what is current.
        row("insert before", "insert", R"({"path": "media:/d", "index": 1})", "b a d b c", "c");
        row("insert behind", "insert", R"({"path": "media:/d", "index": 2})", "b a b d c", "d");
        row("append", "insert", R"({"path": "media:/d"})", "b a b c d", "c");
        row("remove behind", "remove", R"({"index": 2})", "b a b", "");
        row("remove current", "remove", R"({"index": 1})", "c a c", "");
        row("move over it", "move", R"({"index": 0, "toIndex": 2})", "b b c a", "c");
        row("move it", "move", R"({"index": 1, "toIndex": 0})", "b b a c", "a");
    }

    void editsQueue() {
        QFETCH(QString, action);
        QFETCH(QByteArray, argument);
        QFETCH(QString, next);
        start();
        activate("player/play", R"({"index": 1})");
        activate("player/pause");
        QCOMPARE(activate("queue/" + action, argument), QString());
        QTEST(player(), "after");
        activate("player/next");
        QCOMPARE(state() == QLatin1String("playing") ? track() : QString(), next);
    }

    void refusesBadArguments_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("argument");
        QTest::addColumn<QString>("error");
        const auto row = [](const QByteArray& path, const QByteArray& argument,
                            const QString& error) {
            QTest::newRow((path + ' ' + argument).constData())
                << QString(path) << argument << error;
        };
        for (const char* argument :
             {"1", "[]", R"({"x": 1})", R"({"path": 1})", R"({"index": 0.5})"})
            row("player/play", argument, CMErrorNames::typeMismatch());
        row("player/play", R"({"index": 3})", CMErrorNames::outOfRange());
        row("player/play", R"("media:/none")", CMErrorNames::nodeNotFound());
        row("player/seek", "60001", CMErrorNames::outOfRange());
        row("player/seek", "\"x\"", CMErrorNames::typeMismatch());
        row("queue/insert", R"({"path": "media:/d", "index": 4})", CMErrorNames::outOfRange());
        row("queue/remove", R"({"index": -1})", CMErrorNames::outOfRange());
        row("queue/move", R"({"index": 0, "toIndex": 3})", CMErrorNames::outOfRange());
    }

    void refusesBadArguments() {
        QFETCH(QString, path);
        QFETCH(QByteArray, argument);
        start();
        activate("player/play", R"({"index": 2})");
        QTEST(activate(path, argument), "error");
        QCOMPARE(player(), QStringLiteral("playing c a b c"));
    }

    void keepsItsOwnNodes() {
        start();
        const auto write = [](const QString& path, const QVariant& value) {
            const CMReply<QVariant> reply;
            CMRoot()->setData(CMPath::fromEncoded("player:player/" + path), "value", value, reply);
            return reply.error().name();
        };
        for (const char* path : {"state", "position", "duration", "track", "play"})
            QCOMPARE(write(path, 1), CMErrorNames::notModifiable());
        QCOMPARE(write("volume", 100), QString());
    }

public Q_SLOTS:
    void on_position_changed() { m_positions.append(m_clock.elapsed()); }

private:
    // The media worker's list is filled after the player has started.
    void start() {
        m_player = std::make_unique<PlayerWorker>(QVariantHash());
        QCoreApplication::processEvents();
        m_media->setRows("media:/", {node("a", 400), node("b", 300), node("c", 60000)});
    }

    CMRootWorker m_root;
    std::unique_ptr<PlayerWorker> m_player;
    std::unique_ptr<CMNodesWorker> m_media;
    QElapsedTimer m_clock;
    QVector<qint64> m_positions;
};

QTEST_GUILESS_MAIN(TestPlayer)
#include "test_player.moc"
