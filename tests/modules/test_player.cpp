// SPDX-License-Identifier: MIT
#include "core/model/cmrootworker.h"
#include "datamodel.h"
#include "playerworker.h"
#include "table.h"

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

QVariantHash container(const QString& title) {
    return {{"title", title},
            {"type", "container"},
            {"value", QVariantHash{{"string_", "media:/" + title}}}};
}

CMReply<QVariant> begin(const QString& command) {
    const CMReply<QVariant> reply;
    const QString path = "player:" + command.section(' ', 0, 0);
    CMRoot()->setData(CMPath::fromEncoded(path), "activate", json(command.section(' ', 1).toUtf8()),
                      reply);
    return reply;
}

// A command is an action and its argument, if any: `player/play {"index": 2}`. The error's name;
// null when there is none.
QString activate(const QString& command) {
    const CMReply<QVariant> reply = begin(command);
    while (!reply.isFinished())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return reply.error().name();
}

QVariantHash record(const QString& name) {
    return valueOf("player:player/" + name);
}
qint64 position() {
    return PlixValue(record("position")).i64_();
}
QString idOf(int index) {
    return rowsOf("player:queue", {"id"}).at(index).toList().first().toString();
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
        QVariantHash secret = node("s", 0);
        secret.insert("internal", true);
        for (const QVariantHash& track : rows + QVector<QVariantHash>{node("d", 0), secret})
            m_media->setNode("media:/" + track.value("title").toString(), track);
        // A container in itself, and what two lists of a search have.
        const QVector<QVariantHash> y{node("d", 0), rows[1], container("x"), rows[1], secret};
        provideList("y", y);
        provideList("x", {rows[0], container("y"), container("gone"), rows[2]});
        provideList("search", {container("y"), rows[1], rows[0]});
        provideList("empty", {container("empty")});
        m_player = std::make_unique<PlayerWorker>(QVariantHash());
        QCoreApplication::processEvents();
        m_media->setRows("media:/", QVector<QVariantHash>{secret} + rows);
    }

    void cleanup() { m_player.reset(); }

    void playsThroughTheQueue() {
        QCOMPARE(player(), QStringLiteral("stopped a a b c"));
        activate(R"(queue/remove {"index": 2})");
        m_clock.start();
        QCOMPARE(activate("player/play"), QString());
        QVariantHash track = record("track");
        QCOMPARE(track.take("id").toString(), idOf(0));
        QCOMPARE(track, json(R"({"title": "a", "artist": "Band", "path": "media:/a",
                                 "cover": "media:/covers/a", "duration": 400})")
                            .toHash());
        QTRY_COMPARE(player(), QStringLiteral("playing b a b"));
        QVERIFY(m_clock.elapsed() >= 400);
        QTRY_VERIFY(player().startsWith("stopped"));
        QVERIFY(m_clock.elapsed() >= 700);
        QCOMPARE(position(), 0);
    }

    void repeats() {
        activate("player/play");
        setData("player:player/repeat", "value", "one");
        QTRY_VERIFY(position() > 200);
        QTRY_VERIFY(position() < 200);
        QCOMPARE(player(), QStringLiteral("playing a a b c"));
        setData("player:player/repeat", "value", "all");
        activate(R"(player/play {"index": 2})");
        activate("player/next");
        QCOMPARE(player(), QStringLiteral("playing a a b c"));
        activate("player/previous");
        QCOMPARE(player(), QStringLiteral("playing c a b c"));
        QCOMPARE(setData("player:player/repeat", "value", "some"), QStringLiteral("outOfRange"));
    }

    // Each row once, back the way it came, forward again, and what is put behind the current row
    // next; at the end it stops, or begins another round.
    void shuffles() {
        for (int i = 0; i < 30; ++i)
            activate(R"(queue/insert {"path": "media:/d"})");
        activate("player/play");
        setData("player:player/shuffle", "value", true);
        QStringList played{record("track").value("id").toString()};
        const auto step = [&](const QString& command) {
            activate(command);
            return record("track").value("id").toString();
        };
        while (played.size() < 33)
            played.append(step("player/next"));
        QCOMPARE(QSet<QString>(played.begin(), played.end()).size(), 33);
        for (int i = 31; i >= 20; --i)
            QCOMPARE(step("player/previous"), played[i]);
        QCOMPARE(step("player/next"), played[21]);
        activate(R"(queue/insert {"path": "media:/c", "after": ")" + played[21] + R"("})");
        QVERIFY(!played.contains(step("player/next")));
        for (int i = 22; i < 33; ++i)
            QCOMPARE(step("player/next"), played[i]);
        activate("player/next");
        QVERIFY(player().startsWith("stopped"));
        setData("player:player/repeat", "value", "all");
        for (int i = 0; i < 70; ++i)
            activate("player/next");
        QVERIFY(player().startsWith("playing"));
    }

    // It shuffles all of them, also what follows the first.
    void shufflesWhatIsLoaded() {
        provideList("long", numbered(100));
        setData("player:player/shuffle", "value", true);
        QCOMPARE(activate(R"(queue/load {"path": "media:/long", "from": "media:/7"})"), QString());
        QStringList played{record("track").value("title").toString()};
        for (int i = 1; i < 100; ++i) {
            activate("player/next");
            played.append(record("track").value("title").toString());
        }
        QCOMPARE(played.first(), QStringLiteral("7"));
        QCOMPARE(QSet<QString>(played.begin(), played.end()).size(), 100);
        QStringList sorted = played;
        std::sort(sorted.begin(), sorted.end());
        QVERIFY(played.mid(1, 20) != titlesOf("player:queue").mid(8, 20) && played != sorted);
        activate("player/next");
        QVERIFY(player().startsWith("stopped"));
    }

    // What is wanted of a list that is too long for the queue, and what fits into it.
    void loadsNoMoreThanTheQueueHolds() {
        provideList("long", numbered(PlayQueue::maximumRows + 700));
        const auto count = [] { return rowCount("player:queue"); };
        QCOMPARE(activate(R"(queue/insert {"path": "media:/long"})"), QString());
        QCOMPARE(count(), PlayQueue::maximumRows);
        QCOMPARE(titlesOf("player:queue").mid(0, 5).join(' '), QStringLiteral("a b c 0 1"));
        QCOMPARE(activate(R"(queue/insert {"path": "media:/y"})"), QStringLiteral("outOfRange"));
        QCOMPARE(activate(R"(queue/load {"path": "media:/long", "from": "media:/10100"})"),
                 QString());
        QCOMPARE(record("track").value("title").toString(), QStringLiteral("10100"));
        QCOMPARE(count(), 700);
    }

    void readsAListThatChangesMeanwhile() {
        provideList("long", numbered(1200));
        const CMReply<QVariant> reply = begin(R"(queue/load {"path": "media:/long"})");
        m_media->removeRow("media:/long", 0);
        QTRY_VERIFY(reply.isFinished());
        QCOMPARE(rowCount("player:queue"), 1199);
        QCOMPARE(titlesOf("player:queue").value(0), QStringLiteral("1"));
    }

    // Also of workers that take their time; and the player may go meanwhile.
    void carriesOutCommandsInTheirOrder() {
        HoldingWorker slow("slow");
        QVariantHash first = node("first", 0);
        slow.setNode("slow:first", first);
        const CMReply<QVariant> held = begin(R"(queue/insert {"path": "slow:first"})");
        const CMReply<QVariant> list = begin(R"(queue/insert {"path": "media:/y"})");
        const CMReply<QVariant> last = begin(R"(queue/insert {"path": "media:/a"})");
        QVERIFY(!last.isFinished());
        slow.answerOne();
        QTRY_VERIFY(last.isFinished());
        QCOMPARE(player(), QStringLiteral("stopped a a b c first d b a c b a"));
        begin(R"(queue/insert {"path": "slow:first"})");
        begin(R"(queue/load {"path": "media:/x"})");
        m_player.reset();
        slow.answerOne();
        QCoreApplication::processEvents();
    }

    void goesOnAfterARestart() {
        const QTemporaryDir state;
        const auto restart = [&] {
            m_player.reset();
            m_player = std::make_unique<PlayerWorker>(QVariantHash{{"stateDir", state.path()}});
        };
        restart();
        QTRY_COMPARE(player(), QStringLiteral("stopped a a b c"));
        setData("player:player/volume", "value", 12);
        setData("player:player/repeat", "value", "all");
        activate(R"(player/play {"index": 2})");
        activate("player/seek 3000");
        // A queue that nobody has changed is that of the media worker, also later.
        restart();
        QTRY_COMPARE(player(), QStringLiteral("paused c a b c"));
        activate(R"(queue/remove {"index": 0})");
        restart();
        QCOMPARE(player(), QStringLiteral("paused c b c"));
        QVERIFY(position() >= 3000 && position() < 60000);
        QCOMPARE(PlixValue(record("volume")).i32_(), 12);
        QCOMPARE(PlixValue(record("repeat")).string_(), QStringLiteral("all"));
        QCOMPARE(activate("player/play"), QString());
        QVERIFY(position() >= 3000);
    }

    // A library is there to choose from, however many tracks its scan has found so far.
    void leavesTheQueueEmptyWithMusicOfOnesOwn() {
        CMNodesWorker settings(QVariantHash(), "settings");
        settings.setValue("settings:/media/directory", PlixValue::fromScalar("/music"));
        m_player.reset();
        m_player = std::make_unique<PlayerWorker>(QVariantHash());
        m_media->removeRow("media:/", 0);
        QCoreApplication::processEvents();
        QCOMPARE(player(), QStringLiteral("stopped "));
    }

    void showsNothingOfAnInternalRow() {
        QVariantHash secret = node("s", 0);
        secret.insert("internal", QVariantHash{{"bool_", true}});
        m_player.reset();
        m_player = std::make_unique<PlayerWorker>(QVariantHash{
            {"nodes",
             QVariantHash{{"player:queue", QVariantHash{{"rows", QVariantList{secret}}}}}}});
        QCOMPARE(activate("player/play"), QString());
        QCOMPARE(record("track").value("title").toString(), QString());
        QCOMPARE(record("track").value("path").toString(), QString());
    }

    void obeys_data() {
        // Commands, in which words in capitals stand for what obeys() says, and the outcome of the
        // last one: its error or what the player then does.
        addRows(R"(
play a path               |PLAY {B}                                      |playing b a b c
play a text               |PLAY "media:/b"                               |playing b a b c
play what joins the queue |PLAY "media:/d"                               |playing d a b c d
play nothing              |queue/clear; PLAY                             |outOfRange
play beyond the queue     |PLAY {AT 2}; PLAY {AT 3}                      |outOfRange
play no node              |PLAY {AT 2}; PLAY "media:/none"               |nodeNotFound
play what is internal     |PLAY "media:/s"                               |setData failed
insert what is internal   |queue/insert {"path": "media:/s"}             |setData failed
play a fraction           |PLAY {AT 0.5}                                 |typeMismatch
previous after a while    |PLAY {AT 2}; player/seek 3000; player/previous|playing c a b c
previous at the start     |PLAY {AT 1}; player/previous; player/previous |playing a a b c
seek while stopped        |player/seek 5                                 |outOfRange
seek beyond the end       |PLAY {AT 2}; player/seek 60001                |outOfRange
insert before             |PLAY {AT 1}; queue/insert {D, AT 1}; NEXT     |playing c a d b c
insert behind             |PLAY {AT 1}; queue/insert {D, AT 2}; NEXT     |playing d a b d c
append                    |PLAY {AT 1}; queue/insert {D}; NEXT           |playing c a b c d
remove behind             |PLAY {AT 1}; queue/remove {AT 2}; NEXT        |stopped b a b
remove current            |PLAY {AT 1}; queue/remove {AT 1}; NEXT        |stopped c a c
move over it              |PLAY {AT 1}; queue/move {AT 0, TO 2}; NEXT    |playing c b c a
move it                   |PLAY {AT 1}; queue/move {AT 1, TO 0}; NEXT    |playing a b a c
insert beyond             |queue/insert {D, AT 4}                        |outOfRange
remove before             |queue/remove {AT -1}                          |outOfRange
move beyond               |queue/move {AT 0, TO 3}                       |outOfRange
play by id                |PLAY {ID 2}                                   |playing c a b c
remove a row that moved   |queue/move {AT 0, TO 2}; queue/remove {ID 0}  |stopped c b c
remove a row that is gone |queue/remove {ID 0}; queue/remove {ID 0}      |outOfRange
remove without a name     |queue/remove {"id": 5}                        |typeMismatch
move down by id           |queue/move {ID 0, AFTER 1}                    |stopped a b a c
move up by id             |queue/move {ID 2, AFTER 0}                    |stopped a a c b
move behind itself        |queue/move {ID 1, AFTER 1}                    |stopped a a b c
move to the beginning     |queue/move {ID 2, "after": ""}                |stopped a c a b
move behind what is gone  |queue/remove {ID 1}; queue/move {ID 0, AFTER 1}|outOfRange
insert by id              |queue/insert {D, AFTER 0}                     |stopped a a d b c
of this version           |queue/remove {AT 0, "version": 1}             |stopped b b c
of another version        |queue/remove {AT 0, "version": 1}; queue/insert {D, AT 0, "version": 1}|versionMismatch
restore a row             |PLAY {AT 2}; queue/remove {ID 0}; queue/restore {ID 0}|playing c a b c
restore all               |PLAY {AT 1}; queue/clear; queue/restore {ID 2}|stopped b a b c
load                      |queue/load {X}                                |playing a a d b b c
load from a track         |queue/load {X, "from": "media:/b"}            |playing b a d b b c
load without playing      |PLAY {AT 2}; queue/load {X, "from": "media:/d", "play": false}|stopped d a d b b c
load what several lists have|queue/load {"path": "media:/search"}        |playing d d b a c b
load a track              |queue/load {D}                                |playing d d
load nothing              |queue/load {"path": "media:/empty"}           |outOfRange
load from what is not there|queue/load {X, "from": "media:/none"}        |outOfRange
load no node              |queue/load {"path": "media:/none"}            |nodeNotFound
load no list              |queue/load {"path": "player:player/volume"}   |typeMismatch
load what is internal     |queue/load {"path": "media:/s"}               |setData failed
load without a path       |queue/load {"from": "media:/a"}               |typeMismatch
load and play perhaps     |queue/load {X, "play": 1}                     |typeMismatch
load for another version  |queue/load {X, "version": 7}                  |versionMismatch
take loading back         |PLAY {AT 1}; queue/load {X}; queue/insert {D}; queue/restore {ID 2}|stopped b a b c
insert a container        |PLAY {AT 1}; queue/insert {X, AT 1}; NEXT     |playing c a a d b b c b c
insert a container next   |PLAY {AT 1}; queue/insert {X, AFTER 1}; NEXT  |playing a a b a d b b c c
insert an empty container |queue/insert {"path": "media:/empty"}         |outOfRange
stop behind a single row  |queue/load {D}; SHUFFLE; NEXT                 |stopped d d
restore twice             |queue/clear; queue/restore {ID 2}; queue/restore {ID 2}|outOfRange
)");
    }

    void obeys() {
        QFETCH(QByteArrayList, fields);
        QString before;
        QString error;
        fields[0].replace("PLAY", "player/play").replace("NEXT", "player/next");
        for (int row = 0; row < 3; ++row) {
            const QByteArray id = ('"' + idOf(row) + '"').toUtf8();
            fields[0].replace("ID " + QByteArray::number(row), R"("id": )" + id);
            fields[0].replace("AFTER " + QByteArray::number(row), R"("after": )" + id);
        }
        fields[0].replace("AT", R"("index":)").replace("TO", R"("toIndex":)");
        fields[0].replace("B}", R"("path": "media:/b"})").replace("D}", R"("path": "media:/d"})");
        fields[0].replace("D,", R"("path": "media:/d",)").replace("X", R"("path": "media:/x")");
        for (const QByteArray& command : fields[0].split(';')) {
            before = player();
            if (command.trimmed() == "SHUFFLE")
                setData("player:player/shuffle", "value", true);
            else
                error = activate(command.trimmed());
        }
        QCOMPARE(error.isNull() ? player() : error, QString(fields[1]));
        QVERIFY(error.isNull() || player() == before);
    }

private:
    void provideList(const QString& title, const QVector<QVariantHash>& rows) {
        m_media->setNode("media:/" + title, container(title));
        m_media->setRows("media:/" + title, rows);
    }

    static QVector<QVariantHash> numbered(int count) {
        QVector<QVariantHash> rows;
        for (int i = 0; i < count; ++i)
            rows.append(node(QString::number(i), 1000));
        return rows;
    }

    CMRootWorker m_root;
    std::unique_ptr<CMNodesWorker> m_media;
    std::unique_ptr<PlayerWorker> m_player;
    QElapsedTimer m_clock;
};

QTEST_GUILESS_MAIN(TestPlayer)
#include "test_player.moc"
