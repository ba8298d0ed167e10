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

QString queue() {
    const CMReply<PlixRowsRoles> reply;
    CMRoot()->getRows(CMPath::fromEncoded("player:queue"), 0, 100, -1, {"title"}, reply);
    QStringList titles;
    const QVariantList rows = reply.value().rows().toList();
    for (const QVariant& row : rows)
        titles.append(row.toList().first().toString());
    return titles.join(' ');
}

} // namespace

class TestPlayer : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void playsThroughTheQueue();
    void positionFollowsTheClock();
    void pausesAndSeeks();
    void choosesWhatToPlay();
    void previousAndNext();
    void editsQueue_data();
    void editsQueue();
    void refusesBadArguments_data();
    void refusesBadArguments();
    void keepsItsOwnNodes();
    void startsAsConfigured();
    void playsWithoutEnd();

public Q_SLOTS:
    void on_position_changed() { m_positions.append(m_clock.elapsed()); }

private:
    void start(const QVariantHash& nodes = {});

    CMRootWorker m_root;
    std::unique_ptr<PlayerWorker> m_player;
    std::unique_ptr<CMNodesWorker> m_media;
    QElapsedTimer m_clock;
    QVector<qint64> m_positions;
};

void TestPlayer::init() {
    m_player.reset();
    m_media = std::make_unique<CMNodesWorker>(QVariantHash(), "media");
    for (const auto& [title, duration] : {std::pair("a", 400), {"b", 300}, {"c", 60000}, {"d", 0}})
        m_media->setNode(QStringLiteral("media:/") + title, node(title, duration));
    m_media->setNode("media:/", {{"title", "Media"}, {"type", "container"}});
}

// The media worker's list is filled after the player has started.
void TestPlayer::start(const QVariantHash& nodes) {
    m_player = std::make_unique<PlayerWorker>(QVariantHash{{"nodes", nodes}});
    QCoreApplication::processEvents();
    m_media->setRows("media:/", {node("a", 400), node("b", 300), node("c", 60000)});
}

void TestPlayer::playsThroughTheQueue() {
    start();
    QCOMPARE(queue(), QStringLiteral("a b c"));
    QCOMPARE(state(), QStringLiteral("stopped"));
    activate("queue/remove", R"({"index": 2})");
    m_clock.start();
    QCOMPARE(activate("player/play"), QString());
    QCOMPARE(record("track"), json(R"({"title": "a", "artist": "Band", "path": "media:/a",
                                       "cover": "media:/covers/a", "duration": 400})")
                                  .toHash());
    QCOMPARE(PlixValue(record("duration")).i64_(), 400);
    QTRY_COMPARE(track(), QStringLiteral("b"));
    QVERIFY(m_clock.elapsed() >= 400);
    QCOMPARE(state(), QStringLiteral("playing"));
    QTRY_COMPARE(state(), QStringLiteral("stopped"));
    QVERIFY2(m_clock.elapsed() >= 700 && m_clock.elapsed() < 2000,
             qPrintable(QString::number(m_clock.elapsed())));
    QCOMPARE(position(), 0);
}

void TestPlayer::positionFollowsTheClock() {
    start();
    m_root.connectValueChange(CMPath::fromEncoded("player:player/position"), this,
                              SLOT(on_position_changed()));
    activate("player/play", R"({"index": 2})");
    m_positions.clear();
    m_clock.start();
    QTRY_VERIFY(m_positions.size() >= 4);
    for (int i = 1; i < m_positions.size(); ++i) {
        const qint64 gap = m_positions[i] - m_positions[i - 1];
        QVERIFY2(gap > 150 && gap < 500, qPrintable(QString::number(gap)));
    }
    // Exact between the announcements, which reading does not multiply.
    const int announced = m_positions.size();
    const qint64 before = position();
    QTest::qSleep(20);
    QVERIFY(position() >= before + 20);
    QVERIFY(qAbs(position() - m_clock.elapsed()) < 50);
    QCOMPARE(m_positions.size(), announced);
    m_root.disconnectValueChange(CMPath::fromEncoded("player:player/position"), this,
                                 SLOT(on_position_changed()));
}

void TestPlayer::pausesAndSeeks() {
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

void TestPlayer::choosesWhatToPlay() {
    start();
    for (const QByteArray argument : {R"({"path": "media:/b"})", R"("media:/b")",
                                      R"({"string_": "media:/b"})", R"({"index": 1})"}) {
        activate("player/stop");
        QCOMPARE(activate("player/play", argument), QString());
        QCOMPARE(track(), QStringLiteral("b"));
        QCOMPARE(state(), QStringLiteral("playing"));
        QCOMPARE(queue(), QStringLiteral("a b c"));
    }
    // Not in the queue: joins it.
    activate("player/play", R"("media:/d")");
    QCOMPARE(queue(), QStringLiteral("a b c d"));
    QCOMPARE(track(), QStringLiteral("d"));
    activate("queue/clear");
    QCOMPARE(activate("player/play"), CMErrorNames::outOfRange());
}

void TestPlayer::previousAndNext() {
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

void TestPlayer::editsQueue_data() {
    QTest::addColumn<QString>("action");
    QTest::addColumn<QByteArray>("argument");
    QTest::addColumn<QString>("after");
    QTest::addColumn<QString>("current");
    QTest::addColumn<QString>("next");
    const auto row = [](const char* name, const char* action, const char* argument,
                        const char* after, const char* current, const char* next) {
        QTest::newRow(name) << QString(action) << QByteArray(argument) << QString(after)
                            << QString(current) << QString(next);
    };
    // "b" is the current row of "a b c".
    row("insert before", "insert", R"({"path": "media:/d", "index": 1})", "a d b c", "b", "c");
    row("insert behind", "insert", R"({"path": "media:/d", "index": 2})", "a b d c", "b", "d");
    row("append", "insert", R"({"path": "media:/d"})", "a b c d", "b", "c");
    row("remove before", "remove", R"({"index": 0})", "b c", "b", "c");
    row("remove behind", "remove", R"({"index": 2})", "a b", "b", "");
    row("remove current", "remove", R"({"index": 1})", "a c", "c", "");
    row("move over it", "move", R"({"index": 0, "toIndex": 2})", "b c a", "b", "c");
    row("move over it back", "move", R"({"index": 2, "toIndex": 0})", "c a b", "b", "");
    row("move it", "move", R"({"index": 1, "toIndex": 0})", "b a c", "b", "a");
    row("clear", "clear", "null", "", "", "");
}

void TestPlayer::editsQueue() {
    QFETCH(QString, action);
    QFETCH(QByteArray, argument);
    QFETCH(QString, next);
    start();
    activate("player/play", R"({"index": 1})");
    activate("player/pause");
    QCOMPARE(activate("queue/" + action, argument), QString());
    QTEST(queue(), "after");
    QTEST(track(), "current");
    activate("player/next");
    QCOMPARE(state() == QLatin1String("playing") ? track() : QString(), next);
}

void TestPlayer::refusesBadArguments_data() {
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("argument");
    QTest::addColumn<QString>("error");
    const auto row = [](const char* path, const char* argument, const QString& error) {
        QTest::addRow("%s %s", path, argument) << QString(path) << QByteArray(argument) << error;
    };
    for (const char* argument : {"1", "[]", R"({"x": 1})", R"({"path": 1})", R"({"index": 0.5})"})
        row("player/play", argument, CMErrorNames::typeMismatch());
    row("player/play", R"({"index": 3})", CMErrorNames::outOfRange());
    row("player/play", R"({"index": 99999999999})", CMErrorNames::outOfRange());
    row("player/play", R"("media:/none")", CMErrorNames::nodeNotFound());
    row("player/play", R"("media:/")", CMErrorNames::typeMismatch());
    row("player/play", R"("")", CMErrorNames::workerNotFound());
    row("player/seek", "-1", CMErrorNames::outOfRange());
    row("player/seek", "60001", CMErrorNames::outOfRange());
    row("player/seek", "18446744073709551615", CMErrorNames::outOfRange());
    row("player/seek", "\"x\"", CMErrorNames::typeMismatch());
    row("queue/insert", "{}", CMErrorNames::typeMismatch());
    row("queue/insert", R"({"path": "media:/d", "index": 4})", CMErrorNames::outOfRange());
    row("queue/insert", R"({"path": "media:/d", "index": "x"})", CMErrorNames::typeMismatch());
    row("queue/remove", R"({"index": -1})", CMErrorNames::outOfRange());
    row("queue/remove", "null", CMErrorNames::typeMismatch());
    row("queue/move", R"({"index": 0, "toIndex": 3})", CMErrorNames::outOfRange());
    row("queue/move", R"({"index": 0})", CMErrorNames::typeMismatch());
}

void TestPlayer::refusesBadArguments() {
    QFETCH(QString, path);
    QFETCH(QByteArray, argument);
    start();
    activate("player/play", R"({"index": 2})");
    QTEST(activate(path, argument), "error");
    QCOMPARE(queue(), QStringLiteral("a b c"));
    QCOMPARE(track(), QStringLiteral("c"));
    QCOMPARE(state(), QStringLiteral("playing"));
}

void TestPlayer::keepsItsOwnNodes() {
    start();
    const auto write = [](const QString& path, const QVariant& value) {
        const CMReply<QVariant> reply;
        CMRoot()->setData(CMPath::fromEncoded("player:player/" + path), "value", value, reply);
        return reply.error().name();
    };
    for (const char* path : {"state", "position", "duration", "track", "play"})
        QCOMPARE(write(path, 1), CMErrorNames::notModifiable());
    QCOMPARE(write("volume", 101), CMErrorNames::outOfRange());
    QCOMPARE(write("volume", 100), QString());
    QCOMPARE(write("mute", true), QString());
}

void TestPlayer::startsAsConfigured() {
    const QVariantHash row{{"title", "B!"}, {"value", QVariantHash{{"string_", "media:/b"}}}};
    start({{"player:player/volume", json(R"({"value": {"i32_": 7}, "maximum": 9})")},
           {"player:player/state", json(R"({"value": {"string_": "playing"}})")},
           {"player:queue", QVariantHash{{"rows", QVariantList{row}}}}});
    QCOMPARE(record("volume").value("i32_").toInt(), 7);
    QCOMPARE(m_player->role("player:player/volume", "maximum").toInt(), 9);
    QCOMPARE(state(), QStringLiteral("stopped"));
    QCOMPARE(queue(), QStringLiteral("B!"));
    // How long it is the media worker knows.
    QCOMPARE(PlixValue(record("duration")).i64_(), 300);
}

void TestPlayer::playsWithoutEnd() {
    start();
    activate("player/play", R"("media:/d")");
    QCOMPARE(activate("player/seek", "86400000"), QString());
    QCOMPARE(activate("player/seek", "9223372036854775807"), CMErrorNames::outOfRange());
    QCOMPARE(state(), QStringLiteral("playing"));
    QVERIFY(position() >= 86400000);
}

QTEST_GUILESS_MAIN(TestPlayer)
#include "test_player.moc"
