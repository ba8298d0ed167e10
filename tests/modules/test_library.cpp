// SPDX-License-Identifier: MIT

// A library of real files that ffmpeg makes, read by the real program.

#include "core/model/cmrootworker.h"
#include "core/plixhttprequest.h"
#include "datamodel.h"
#include "files.h"
#include "library/cataloguelists.h"
#include "library/cataloguesearch.h"
#include "library/filenames.h"
#include "mediaworker.h"

#include <QProcess>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

// Processes start slowly on a busy machine.
#define UNTIL(actual, expected) QTRY_COMPARE_WITH_TIMEOUT(actual, expected, 60000)

namespace {

PlixHttpRequestReply ask(const QString& path, const QString& query = {}) {
    PlixHttpRequestData data;
    data.setVariable("QUERY_STRING", query);
    PlixHttpRequest request;
    request.setData(data);
    const CMReply<QVariant> reply;
    CMRoot()->setData(CMPath::fromEncoded(path), "httpRequest", request.__variant(), reply);
    static_cast<void>(QTest::qWaitFor([&] { return reply.isFinished(); }));
    return PlixHttpRequestReply(reply.value().toHash());
}

QVariantHash scanned() {
    return valueOf("media:scan");
}

// "state found read failed"
QString progress() {
    const QVariantHash value = scanned();
    return QStringList{value["state"].toString(), value["found"].toString(),
                       value["read"].toString(), value["failed"].toString()}
        .join(' ');
}

QStringList pathsOf(const QString& list) {
    QStringList paths;
    for (const QVariant& row : rowsOf(list, {"value"}))
        paths.append(PlixValue(row.toList().first().toHash()).string_());
    return paths;
}

void activate(const QString& path) {
    QCOMPARE(setData(path, "activate", true), QString());
}

} // namespace

class TestLibrary : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        if (QStandardPaths::findExecutable("plix-media-scan", {qApp->applicationDirPath()})
                .isEmpty())
            QSKIP("without the program that reads tags");
        encode("sound.wav", {});
    }
    void init() {
        m_state = std::make_unique<QTemporaryDir>();
        m_settings = std::make_unique<CMNodesWorker>(QVariantHash(), "settings");
        QDir().mkpath(music());
        m_settings->setValue("settings:/media/directory", PlixValue::fromScalar(music()));
    }
    void cleanup() { m_worker.reset(); }

    void readsAllFormats() {
        const QString title = QString::fromUtf8("Ærø – “ぽ” \\ \" 𝄞");
        const QStringList formats{"flac", "m4a", "mp3", "ogg", "opus", "wav"};
        for (const QString& format : formats)
            encode(music("Artist/Album/" + format + '.' + format),
                   {"title=" + title, "artist=Björk", "album=Ålbum", "track=3/12",
                    "date=2004-05-01", "genre=Jazz; Pop"});
        start();
        UNTIL(progress(), QString("idle 6 6 0"));
        for (const QString& format : formats) {
            const CMReply<QList<QVariant>> reply;
            CMRoot()->getData(
                CMPath::fromEncoded("media:/Artist/Album/" + format + '.' + format),
                {"title", "description", "album", "track", "year", "genre", "maximum"}, reply);
            const QList<QVariant> wanted{title, "Björk", "Ålbum", 3, 2004, "Jazz; Pop"};
            QCOMPARE(reply.value().mid(0, 6), wanted);
            QVERIFY2(qAbs(reply.value()[6].toInt() - 1000) < 60, qPrintable(format));
        }
        for (const char* list : {"albums", "artists", "genres", "folders"}) {
            QString path = QLatin1String("media:/") + list;
            while (!FileNames::isAudio(path.toUtf8())) {
                QVERIFY2(!pathsOf(path).isEmpty(), qPrintable(path));
                path = pathsOf(path).first();
            }
            QCOMPARE(path, QString("media:/Artist/Album/flac.flac"));
        }
        QCOMPARE(pathsOf("media:/recent").size(), 6);
    }

    void takesAnyFile() {
        const QByteArray folder = music().toUtf8() + '/';
        writeFile(music("cut.flac"), "fLaC\xff\xff\xff\xff");
        writeFile(music("zeros.mp3"), {});
        QVERIFY(QFile::resize(music("zeros.mp3"), 300 << 20));
        QCOMPARE(mkfifo((folder + "fifo.mp3").constData(), 0600), 0);
        copy("sound.wav", "deep/er/a.wav");
        writeFile(path("secret.wav"), "x");
        QVERIFY(QFile::link(path("secret.wav"), music("out.wav")));
        const QByteArray bytes = "\xff\xc3 \n%41\xee\xbe\x80.wav";
        QVERIFY(::link(qPrintable(path("secret.wav")), (folder + bytes).constData()) == 0);
        start();
        UNTIL(progress(), QString("idle 4 1 3"));
        const QString odd = "media:/" + FileNames::toText(bytes);
        QVERIFY(pathsOf("media:/").contains(odd));
        QCOMPARE(readFile(ask(odd).localFile()), QByteArray("x"));
        QCOMPARE(ask("media:/deep/er/a.wav").status(), 200);
        for (const char* name : {"out.wav", "fifo.mp3", "../secret.wav", "deep/../zeros.mp3"})
            QCOMPARE(ask(QLatin1String("media:/") + name).status(), 404);
        // Qt would leave it.
        QVERIFY(::unlink((folder + bytes).constData()) == 0);
    }

    void keepsWhatItHasRead() {
        copy("sound.wav", "a.wav");
        start();
        UNTIL(progress(), QString("idle 1 1 0"));
        m_worker.reset();
        // Could not read anything.
        start({{"scanProgram", "/bin/false"}});
        UNTIL(progress(), QString("idle 1 1 0"));
        QCOMPARE(titlesOf("media:/"), QStringList{"a"});
        m_worker.reset();
        writeFile(path("media/library.db"), "no database");
        start();
        UNTIL(progress(), QString("idle 1 1 0"));
        m_worker.reset();
        // No place for a database at all.
        QVERIFY(QDir(path("media")).removeRecursively());
        writeFile(path("media"), "");
        start();
        UNTIL(scanned()["state"].toString(), QString("broken"));
        activate("media:scan/start");
        UNTIL(scanned()["state"].toString(), QString("broken"));
    }

    void followsChanges() {
        start();
        UNTIL(progress(), QString("idle 0 0 0"));
        copy("sound.wav", "new/folder/a.wav");
        UNTIL(pathsOf("media:/"), QStringList{"media:/new/folder/a.wav"});
        QVERIFY(QDir().rename(music("new"), music("old")));
        UNTIL(pathsOf("media:/"), QStringList{"media:/old/folder/a.wav"});
        // Queues and playlists have the former path.
        QCOMPARE(valueOf("media:/new/folder/a.wav"), valueOf("media:/old/folder/a.wav"));
        QCOMPARE(ask("media:/new/folder/a.wav").status(), 200);
        QVERIFY(QDir().rename(music(), path("away")));
        UNTIL(scanned()["state"].toString(), QString("away"));
        QCOMPARE(pathsOf("media:/").size(), 1);
        // The place where a share is mounted.
        QDir().mkpath(music());
        activate("media:scan/start");
        UNTIL(scanned()["state"].toString(), QString("away"));
        QDir().rmdir(music());
        QVERIFY(QDir().rename(path("away"), music()));
        activate("media:scan/start");
        UNTIL(progress(), QString("idle 1 1 0"));
        QVERIFY(QFile::remove(music("old/folder/a.wav")));
        UNTIL(progress(), QString("idle 0 0 0"));
    }

    // A client that follows the rows of the list has them as they are.
    void tellsWhichRowsChange() {
        for (const char* name : {"b.wav", "d.wav", "f.wav", "deep/d.wav"})
            copy("sound.wav", name);
        start();
        UNTIL(progress(), QString("idle 4 4 0"));
        m_rows = rowsOf("media:/", {"value"});
        CMRoot()->connectRowsChange(CMPath::fromEncoded("media:/"), this,
                                    SLOT(on_rows_changed(QVariantList)));
        for (const char* name : {"a.wav", "e.wav", "z.wav"})
            copy("sound.wav", name);
        QVERIFY(QFile::remove(music("d.wav")));
        QVERIFY(QDir().rename(music("f.wav"), music("c.wav")));
        UNTIL(pathsOf("media:/").join(' '), QString("media:/a.wav media:/b.wav media:/c.wav "
                                                    "media:/deep/d.wav media:/e.wav media:/z.wav"));
        QCOMPARE(m_rows, rowsOf("media:/", {"value"}));
        copy("sound.wav", "c.wav");
        UNTIL(m_types, QSet<int>({PlixRowEventType::Inserted, PlixRowEventType::Removed,
                                  PlixRowEventType::Changed}));
        // Bulk changes, and covers of whole folders, are not told one by one.
        writeFile(music("deep/cover.png"), "x");
        UNTIL(m_resets, 1);
        for (int i = 0; i < 70; ++i)
            copy("sound.wav", QString("more/%1.wav").arg(i));
        UNTIL(pathsOf("media:/").size(), 76);
        QCOMPARE(m_rows, rowsOf("media:/", {"value"}));
    }

    void leavesUnfinishedCopies() {
        start({{"settleMs", 3600000}});
        UNTIL(progress(), QString("idle 0 0 0"));
        copy("sound.wav", "copy.wav");
        UNTIL(progress(), QString("idle 1 0 0"));
        setModificationTime(music("copy.wav"), 1000000000);
        UNTIL(progress(), QString("idle 1 1 0"));
    }

    // The program crashes and hangs where a script in front of it says so.
    void skipsHostileFiles() {
        const QByteArray script = "#!/bin/bash\necho '{\"ready\":true}'\n"
                                  "while IFS= read -r -d '' name; do case $name in\n"
                                  "*crash*) kill -SEGV $$;; *hang*) exec sleep 1000;; esac\n"
                                  "printf '%s\\0' \"$name\" | " +
                                  qApp->applicationDirPath().toUtf8() +
                                  "/plix-media-scan | tail -n 1\ndone\n";
        writeFile(path("scan"), script);
        QFile::setPermissions(path("scan"), QFile::Permissions(0x7700));
        for (const char* name : {"1.wav", "2 crash.wav", "3.wav", "4 hang.wav", "5.wav"})
            copy("sound.wav", name);
        start({{"scanProgram", path("scan")}, {"deadlineMs", 2000}});
        UNTIL(progress(), QString("idle 5 3 2"));
        QCOMPARE(titlesOf("media:/"), (QStringList{"1", "3", "5"}));
        // Remembered: nothing is read again.
        m_worker.reset();
        start({{"scanProgram", "/bin/false"}});
        UNTIL(progress(), QString("idle 5 3 2"));
    }

    void cancels() {
        for (int i = 0; i < 300; ++i)
            copy("sound.wav", QString::number(i) + ".wav");
        start();
        QTRY_VERIFY(scanned()["found"].toInt() == 300);
        activate("media:scan/cancel");
        QTRY_VERIFY(scanned()["state"] != "scanning");
        activate("media:scan/start");
        UNTIL(progress(), QString("idle 300 300 0"));
    }

    void makesCovers() {
        ffmpeg({"-f", "lavfi", "-i", "color=red:s=900x300", "-frames:v", "1", path("red.png")});
        ffmpeg({"-i", "sound.wav", "-i", path("red.png"), "-map", "0", "-map", "1", "-c:v", "copy",
                "-disposition:v", "attached_pic", music("in.mp3")});
        copy("sound.wav", "beside/b.wav");
        QVERIFY(QFile::copy(path("red.png"), music("beside/Folder.PNG")));
        writeFile(music("bad/cover.jpg"), "\xff\xd8\xff no picture");
        copy("sound.wav", "bad/c.wav");
        start();
        UNTIL(progress(), QString("idle 3 3 0"));
        QStringList covers;
        for (const QVariant& row : rowsOf("media:/", {"icon"}))
            covers.append(row.toList().first().toString());
        QCOMPARE(covers.size(), 3);
        for (const QString& cover : {covers[0], covers[2]}) {
            QCOMPARE(readFile(ask(cover).localFile()), readFile(path("red.png")));
            const PlixHttpRequestReply small = ask(cover, "size=100");
            QCOMPARE(small.contentType(), QString("image/jpeg"));
            QVERIFY(small.headers()["Cache-Control"].toString().contains("immutable"));
            // 100 is made as 128.
            QCOMPARE(jpegSize(readFile(small.localFile())), QSize(128, 42));
        }
        QCOMPARE(ask(covers[1], "size=64").status(), 404);
        QCOMPARE(ask("media:/covers/0000").status(), 404);
        QCOMPARE(QDir(path("media/cache/covers")).entryList(QDir::Files).size(), 4);
    }

    void listsStations() {
        writeFile(music("one.m3u"),
                  "#EXTM3U\r\n#EXTINF:-1,One\r\nhttp://radio.example/1\r\na.mp3\r\n");
        writeFile(music("two.pls"), "[playlist]\nFile1=https://radio.example/2\nTitle1=Two\n");
        start();
        const QVariantList list{
            QVariantHash{{"title", "Mine"}, {"url", "http://radio.example/0"}, {"picture", "x:1"}},
            QVariantHash{{"url", "file:///etc/passwd"}}, 7};
        m_settings->setRole("settings:/media/stations", "value", list);
        UNTIL(titlesOf("media:/stations"), (QStringList{"Mine", "One", "Two"}));
        QCOMPARE(PlixValue(valueOf(pathsOf("media:/stations").first())).string_(),
                 QString("http://radio.example/0"));
        // What is copied from an internal node is hidden like it.
        m_settings->setRole("settings:/media/stations", "internal", true);
        UNTIL(rowsOf("media:/stations", {"internal"}).first().toList().first(), QVariant(true));
    }

    void hidesInternalTracks() {
        copy("sound.wav", "a.wav");
        copy("sound.wav", "b.wav");
        start({{"nodes", json(R"({"media:/a.wav": {"internal": true}})")}});
        UNTIL(progress(), QString("idle 2 2 0"));
        for (const char* list : {"media:/", "media:/folders", "media:/recent", "media:/search/a"})
            QCOMPARE(rowsOf(list, {"internal"}).first().toList().first(), QVariant(true));
    }

    void findsWords() {
        MediaCatalogue::Content content;
        const auto add = [&](const char* title, const char* artist) {
            auto track = std::make_shared<LibraryTrack>();
            track->path = QByteArray(title) + ".mp3";
            track->title = title;
            track->artist = artist;
            track->prepare();
            content.tracks.push_back(track);
        };
        add("Capriccio", "Rimsky-Korsakov");
        add("Łódź Straße", "Sigur Rós");
        add("Smørrebrød", "Ærø");
        add("東京の夜", "がん");
        add("Don’t", "AC/DC");
        const MediaCatalogue catalogue(content);
        const QVector<QPair<const char*, int>> rows{
            {"korsakov", 1}, {"KORSA cap", 1}, {"lodz", 1},   {"strasse", 1}, {"STRASSE ros", 1},
            {"smorre", 1},   {"SMØRRE", 1},    {"aero", 1},   {"京", 1},      {"の夜", 1},
            {"don't", 1},    {"dont", 1},      {"ac/dc", 1},  {"r", 3},       {"korsakov lodz", 0},
            {"", 0},         {"  ", 0},        {"nothing", 0}};
        for (const auto& row : rows)
            QVERIFY2(CatalogueSearch(catalogue, row.first).tracks().size() == row.second,
                     row.first);
    }

    void namesAreBytes() {
        for (const QByteArray& name :
             {QByteArray("a"), QByteArray("\xc3\xa9"), QByteArray("\xff\xc3"),
              QByteArray("\xed\xa0\x80"), QByteArray("\xf0\x9d\x84\x9e"),
              QByteArray("\xee\xbe\x80"), QByteArray("\xef\xbb\xbf"), QByteArray("\xc0\xaf"),
              QByteArray("\xf4\x90\x80\x80"), QByteArray("%ff\n")})
            QCOMPARE(FileNames::toBytes(FileNames::toText(name)), name);
        QVERIFY(FileNames::toBytes(QString(QChar(0xEFC3)) + QChar(0xEFA9)).isNull());
        QVERIFY(FileNames::toBytes(QString(QChar(0xD800))).isNull());
    }

private Q_SLOTS:
    void on_rows_changed(const QVariantList& events) {
        const QVariantList now = rowsOf("media:/", {"value"});
        m_resets += events.isEmpty();
        for (const QVariant& event : events)
            m_types.insert(PlixRowEvent(event.toHash()).type());
        if (events.isEmpty())
            m_rows = now;
        else
            carryOut(events, now, &m_rows);
    }

private:
    void ffmpeg(const QStringList& arguments) {
        QProcess process;
        process.setWorkingDirectory(m_sounds.path());
        process.start("ffmpeg", QStringList{"-v", "error", "-nostdin", "-y"} + arguments);
        QVERIFY(process.waitForFinished(-1));
        QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
    }
    // A second of a tone.
    void encode(const QString& file, const QStringList& tags) {
        QStringList arguments{"-f", "lavfi", "-i", "sine=duration=1"};
        for (const QString& tag : tags)
            arguments << "-metadata" << tag;
        QDir().mkpath(QFileInfo(file).path());
        ffmpeg(arguments << file);
    }
    void copy(const char* sound, const QString& to) {
        QDir().mkpath(QFileInfo(music(to)).path());
        // Each is a file of its own kind.
        writeFile(music(to), readFile(m_sounds.filePath(sound)) + to.toUtf8());
    }
    // Of the frame header.
    static QSize jpegSize(const QByteArray& jpeg) {
        const int at = jpeg.indexOf("\xff\xc0");
        const auto number = [&](int offset) {
            return uchar(jpeg[at + offset]) << 8 | uchar(jpeg[at + offset + 1]);
        };
        return at < 0 ? QSize() : QSize(number(7), number(5));
    }
    void start(QVariantHash config = {}) {
        config.insert("stateDir", m_state->path());
        if (!config.contains("settleMs"))
            config.insert("settleMs", 0);
        m_worker = std::make_unique<MediaWorker>(config);
    }
    QString path(const QString& name) const { return m_state->filePath(name); }
    QString music(const QString& name = {}) const {
        return path(name.isEmpty() ? "music" : "music/" + name);
    }

    QVariantList m_rows;
    QSet<int> m_types;
    int m_resets = 0;
    CMRootWorker m_root;
    QTemporaryDir m_sounds;
    std::unique_ptr<QTemporaryDir> m_state;
    std::unique_ptr<CMNodesWorker> m_settings;
    std::unique_ptr<MediaWorker> m_worker;
};

QTEST_GUILESS_MAIN(TestLibrary)
#include "test_library.moc"
