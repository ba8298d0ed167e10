// SPDX-License-Identifier: MIT
#include "core/model/cmrootworker.h"
#include "datamodel.h"
#include "files.h"
#include "playerworker.h"
#include "table.h"

#include <QtTest>

namespace {

QVariantHash track(const QString& title, const QString& path) {
    return {{"title", title},        {"type", "audio"},
            {"description", "Band"}, {"icon", "media:/covers/" + title},
            {"maximum", 60000},      {"value", QVariantHash{{"string_", path}}}};
}

// A command is the end of a path and its argument: `queue/load {"path": "media:/"}`. Gives the
// error, otherwise the answer.
QString activate(const QString& command) {
    const CMReply<QVariant> reply;
    CMRoot()->setData(CMPath::fromEncoded("player:" + command.section(' ', 0, 0)), "activate",
                      json(command.section(' ', 1).toUtf8()), reply);
    while (!reply.isFinished())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return reply.error() ? reply.error().name() : PlixValue(reply.value().toHash()).string_();
}

// The roles of the rows, one row after the other: `b,media:/b/2;c,http://radio/`.
QString rows(const QString& path, const QStringList& roles = {"title", "value"}) {
    const CMReply<PlixRowsRoles> reply;
    CMRoot()->getRows(CMPath::fromEncoded(path), 0, 100, -1, roles, reply);
    while (!reply.isFinished())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    QStringList texts;
    const QVariantList list = reply.value().rows().toList();
    for (const QVariant& row : list) {
        QStringList values;
        for (const QVariant& value : row.toList()) {
            const QString text = PlixValue(value.toHash()).string_();
            values.append(text.isEmpty() ? value.toString() : text);
        }
        texts.append(values.join(','));
    }
    return reply.error() ? reply.error().name() : texts.join(';');
}

} // namespace

class TestPlaylists : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_state = std::make_unique<QTemporaryDir>();
        m_settings = std::make_unique<CMNodesWorker>(QVariantHash(), "settings");
        m_settings->setValue("settings:/media/directory", PlixValue::fromScalar("/music/"));
        m_media = std::make_unique<CMNodesWorker>(QVariantHash(), "media");
        const QVector<QVariantHash> tracks{track("a", "media:/a"), track("b", "media:/b")};
        m_media->setNode("media:/a", tracks[0]);
        m_media->setNode("media:/b", tracks[1]);
        m_media->setNode("media:/50%\n", track("odd", "media:/50%\n"));
        m_media->setNode("media:/former", track("moved", "media:/present"));
        QVariantHash secret = track("s", "media:/s");
        secret.insert("internal", true);
        m_media->setNode("media:/s", secret);
        m_media->setNode("media:/all", {{"type", "container"}});
        m_media->setRows("media:/all", tracks);
        restart();
        activate(R"(queue/load {"path": "media:/all", "play": false})");
    }

    void cleanup() { m_player.reset(); }

    void savesTheQueueAndLoadsIt() {
        activate(R"(queue/insert {"path": "media:/50%\n"})");
        const QString path = activate(R"(playlists/save {"title": " Caf\u0065\u0301: one/two "})");
        QVERIFY(path.startsWith("player:playlists/"));
        const QStringList roles{"title", "type", "description", "value"};
        const QString shown = QString::fromUtf8("Café: one/two,container,3,") + path;
        QCOMPARE(rows("player:playlists", roles), shown);
        const CMReply<QVariantList> node;
        CMRoot()->getData(CMPath::fromEncoded(path), {"title", "description"}, node);
        QCOMPARE(node.value(), (QVariantList{QString::fromUtf8("Café: one/two"), 3}));
        restart();
        QTRY_COMPARE(rows("player:playlists", roles), shown);
        QCOMPARE(rows(path, {"title", "description", "maximum", "icon", "type"}),
                 QStringLiteral("a,Band,60000,media:/covers/a,audio;b,Band,60000,media:/covers/b,"
                                "audio;odd,Band,60000,media:/covers/odd,audio"));
        activate("queue/clear");
        QCOMPARE(activate(QString(R"(queue/load {"path": "%1", "from": "media:/b"})").arg(path)),
                 QStringLiteral("playing"));
        QCOMPARE(rows("player:queue"), QStringLiteral("a,media:/a;b,media:/b;odd,media:/50%\n"));
    }

    void obeys_data() {
        // Commands, and the error of the last one, or the titles of all playlists with their sizes.
        // ONE stands for the path of the playlist "One".
        addRows(R"(
save                |SAVE {"title": "Two"}                                    |One,2;Two,2
save again          |SAVE {"title": "One"}                                    |exists
replace             |queue/remove {"index": 0}; SAVE {"title": "One", "replace": true}|One,1
replace perhaps     |SAVE {"title": "One", "replace": 1}                      |typeMismatch
save nothing        |queue/clear; SAVE {"title": "Two"}                       |outOfRange
no title            |SAVE {"title": 5}                                        |typeMismatch
an empty title      |SAVE {"title": "  "}                                     |outOfRange
a title in two lines|SAVE {"title": "a\nb"}                                   |outOfRange
the longest title   |SAVE {"title": "LONG"}                                   |One,2;LONG,2
a longer title      |SAVE {"title": "LONG+"}                                  |outOfRange
an outward title    |SAVE {"title": "../../etc"}                              |../../etc,2;One,2
a hidden title      |SAVE {"title": ".One"}                                   |.One,2;One,2
files of one name   |SAVE {"title": "a/b"}; SAVE {"title": "a:b"}             |a/b,2;a:b,2;One,2
rename              |playlists/rename {ONE, "title": "Ten"}                   |Ten,2
rename to itself    |playlists/rename {ONE, "title": "One"}                   |One,2
rename case only    |playlists/rename {ONE, "title": "one"}                   |one,2
rename to another   |SAVE {"title": "Two"}; playlists/rename {ONE, "title": "Two"}|exists
rename what is gone |playlists/remove {ONE}; playlists/rename {ONE, "title": "Two"}|nodeNotFound
rename no playlist  |playlists/rename {"path": "player:playlists", "title": "Two"}|nodeNotFound
remove              |playlists/remove {ONE}                                   |
remove no path      |playlists/remove {"path": 3}                             |typeMismatch
load what is gone   |playlists/remove {ONE}; queue/load {ONE}                 |nodeNotFound
)");
    }

    void obeys() {
        QFETCH(QByteArrayList, fields);
        const QString longest(PlaylistTitle::maximumLength, QChar(0x20AC));
        const auto complete = [&](QString text) { return text.replace("LONG", longest); };
        const QString one = activate(R"(playlists/save {"title": "One"})");
        QString answer;
        for (const QByteArray& command : fields[0].split(';'))
            answer = activate(complete(QString(command.trimmed())
                                           .replace("SAVE", "playlists/save")
                                           .replace("ONE", QString(R"("path": "%1")").arg(one))));
        const QString shown = rows("player:playlists", {"title", "description"});
        const bool isDone = answer.startsWith("player:");
        QCOMPARE(isDone ? shown : answer, complete(QString(fields[1])));
        // All of them in the folder, nothing else.
        const QStringList files =
            QDir(folder()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        QCOMPARE(files.size(), rowCount("player:playlists"));
        QCOMPARE(files.filter(QRegularExpression("^[^.].*\\.m3u8$")), files);
    }

    void readsFilesThatAppear_data() {
        // The content of a file, and the title and value of each row.
        addRows(R"(
paths and URLs      |media:/a~https://radio/x~                   |a,media:/a;https://radio/x,https://radio/x
what is away        |#EXTM3U~#EXTINF:61,The X - One - Two~media:/gone~media:/deep/g.mp3|One - Two,media:/gone;g,media:/deep/g.mp3
what was moved      |media:/former                               |moved,media:/present
what is internal    |#EXTINF:1,S~media:/s                        |S,media:/s
no node             |ghost:/a                                    |a,ghost:/a
names of files      |a~./b~/music/a~/music/c.mp3                 |a,media:/a;b,media:/b;a,media:/a;c,media:/c.mp3
files elsewhere     |/etc/passwd~file:///etc/passwd~C:\a~media:/b|C:\a,media:/C:\a;b,media:/b
lines of others     |# note~~media:/b^                           |b,media:/b
nothing             |                                            |
)");
    }

    void readsFilesThatAppear() {
        QFETCH(QByteArrayList, fields);
        fields[0].replace('~', '\n').replace('^', '\r');
        writeFile(folder() + "/Mine.m3u", fields[0]);
        QTRY_VERIFY(rows("player:playlists", {"title"}) == "Mine");
        const QString path = rows("player:playlists", {"value"});
        QCOMPARE(rows(path), QString(fields[1]));
        // Lines that are no entries are kept.
        const QString renamed =
            activate(QString(R"(playlists/rename {"path": "%1", "title": "Ours"})").arg(path));
        QCOMPARE(rows(renamed), QString(fields[1]));
        QVERIFY(readFile(folder() + "/Ours.m3u8").endsWith(fields[0].mid(8)));
        QFile::remove(folder() + "/Ours.m3u8");
        QTRY_COMPARE(rowCount("player:playlists"), 0);
        QCOMPARE(rows(renamed), QStringLiteral("nodeNotFound"));
    }

    // A list that is shown follows its file, and the titles of its tracks.
    void tellsOfChanges() {
        const QString path = activate(R"(playlists/save {"title": "One"})");
        CMRoot()->connectRowsChange(CMPath::fromEncoded(path), this,
                                    SLOT(on_rows_changed(QVariantList)));
        activate(R"(playlists/save {"title": "One", "replace": true})");
        QVERIFY(std::exchange(m_changes, 0) > 0);
        writeFile(folder() + "/One.m3u8", "media:/b\n");
        QTRY_VERIFY(m_changes > 0);
        QCOMPARE(rows(path), QStringLiteral("b,media:/b"));
        m_changes = 0;
        m_media->setRows("media:/", {track("b", "media:/b")});
        QVERIFY(m_changes > 0);
    }

    // Rows wait for workers that take their time, and the player may go meanwhile.
    void waitsForSlowWorkers() {
        HoldingWorker slow("slow");
        slow.setNode("slow:/a", track("slow", "slow:/a"));
        writeFile(folder() + "/One.m3u8", "slow:/a\nmedia:/b\n");
        QTRY_COMPARE(rowCount("player:playlists"), 1);
        const CMReply<PlixRowsRoles> first;
        const CMReply<PlixRowsRoles> second;
        const CMPath path = CMPath::fromEncoded(rows("player:playlists", {"value"}));
        CMRoot()->getRows(path, 0, 9, -1, {"title"}, first);
        CMRoot()->getRows(path, 0, 9, -1, {"title"}, second);
        slow.answerOne();
        QVERIFY(first.isFinished() && !second.isFinished());
        QCOMPARE(first.value().rows().toList().size(), 2);
        m_player.reset();
        slow.answerOne();
    }

    void loadsAFullQueue() {
        QByteArray content;
        for (int i = 0; i < PlayQueue::maximumRows + 10; ++i)
            content += "media:/" + QByteArray::number(i) + '\n';
        writeFile(folder() + "/Long.m3u8", content);
        QTRY_COMPARE(rows("player:playlists", {"description"}), QStringLiteral("10010"));
        activate(QString(R"(queue/load {"path": "%1"})").arg(rows("player:playlists", {"value"})));
        QCOMPARE(rowCount("player:queue"), PlayQueue::maximumRows);
        QVERIFY(activate(R"(playlists/save {"title": "Again"})").startsWith("player:"));
        QVERIFY(rows("player:playlists", {"description"}).startsWith("10000;"));
    }

private Q_SLOTS:
    void on_rows_changed(const QVariantList&) { ++m_changes; }

private:
    QString folder() const { return m_state->path() + "/playlists"; }
    void restart() {
        m_player.reset();
        m_player = std::make_unique<PlayerWorker>(QVariantHash{{"stateDir", m_state->path()}});
    }

    CMRootWorker m_root;
    std::unique_ptr<QTemporaryDir> m_state;
    std::unique_ptr<CMNodesWorker> m_settings;
    std::unique_ptr<CMNodesWorker> m_media;
    std::unique_ptr<PlayerWorker> m_player;
    int m_changes = 0;
};

QTEST_GUILESS_MAIN(TestPlaylists)
#include "test_playlists.moc"
