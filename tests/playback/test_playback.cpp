// SPDX-License-Identifier: MIT
#include "core/model/cmrootworker.h"
#include "core/plixhttprequest.h"
#include "datamodel.h"
#include "httpsource.h"
#include "mediaworker.h"
#include "playerworker.h"
#include "recording.h"
#include "table.h"

#include <QtTest>

#include <csignal>

namespace {

// As long as a busy machine may take to look through all plug-ins of GStreamer.
constexpr int patienceMs = 60000;

QString text(const QString& name) {
    return PlixValue(valueOf("player:player/" + name)).string_();
}
QString title() {
    return valueOf("player:player/track").value("title").toString();
}
qint64 position() {
    return valueOf("player:player/progress").value("position").toLongLong();
}
// Names the files of a folder at once, whatever their age.
class FolderWorker : public CMNodesWorker {
public:
    explicit FolderWorker(const QString& folder) : CMNodesWorker({}, "media"), m_folder(folder) {}
    void getDataRequest(const CMGetDataRequest& request) override { request.reply.finish({}); }
    void setDataRequest(const CMSetDataRequest& request) override {
        const QString file = m_folder + '/' + request.path.toEncoded().section('/', 1);
        PlixHttpRequestReply reply;
        reply.setStatus(QFile::exists(file) ? 200 : 404);
        reply.setLocalFile(file);
        request.reply.finish(reply.__variant());
    }

private:
    QString m_folder;
};

void act(const QString& name, const QVariant& argument = true) {
    QCOMPARE(setData("player:player/" + name, "activate", argument), QString());
}

} // namespace

// The player with its program, files of all kinds and an output that writes what it would play.
class TestPlayback : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }
    void cleanup() {
        m_player.reset();
        m_media.reset();
        m_settings.reset();
    }

    void playsWithoutAGap_data() {
        // The ending, options for the encoder, and by how many milliseconds a track may be longer
        // or shorter: GStreamer leaves out the last frame of AAC in M4A, and AAC alone does not say
        // what its encoder has added.
        addRows(R"(
WAV         |wav |               |1
FLAC        |flac|               |1
MP3         |mp3 |               |1
MP3 with VBR|mp3 |-q:a 4         |1
Opus        |opus|               |1
Ogg Vorbis  |ogg |-c:a libvorbis |1
ALAC        |m4a |-c:a alac      |1
AAC in M4A  |m4a |               |24
AAC         |aac |               |24
)");
    }

    void playsWithoutAGap() {
        QFETCH(QByteArrayList, fields);
        QStringList names;
        for (const int frequency : {440, 880, 660}) {
            names.append(QString::number(frequency) + "." + fields[0]);
            makeTone(names.last(), frequency, 1300,
                     QString(fields[1]).split(' ', Qt::SkipEmptyParts));
        }
        start(names);
        const Recording heard = playToTheEnd();
        const int tolerance = fields[2].toInt();
        QVERIFY2(qAbs(heard.length() - 3 * 1300) < 3 * tolerance + 2,
                 qPrintable(QString::number(heard.length())));
        QVERIFY2(heard.longestSilence() < tolerance + 4,
                 qPrintable(QString::number(heard.longestSilence())));
        int from = 0;
        for (const int frequency : {440, 880, 660}) {
            QVERIFY(qAbs(heard.frequency(from + 100, 1100) - frequency) < 2);
            from += 1300;
        }
    }

    void jumpsExactly_data() {
        addRows(R"(
FLAC                        |flac|alone
MP3                         |mp3 |alone
Opus                        |opus|alone
AAC in M4A                  |m4a |alone
while the next is in waiting|mp3 |followed
)");
    }

    // Each second of the file has another tone, so that 50 ms beside the place can be heard.
    void jumpsExactly() {
        QFETCH(QByteArrayList, fields);
        const QString name = "steps." + fields[0];
        encode({"-f", "lavfi", "-i", "aevalsrc=0.2*sin(2*PI*(300+100*floor(t))*t):d=6:s=44100"},
               name);
        start(QStringList(name) +
                  QStringList(fields[1] == "alone" ? QStringList() : QStringList{name}),
              true);
        act("play");
        QTRY_VERIFY_WITH_TIMEOUT(position() > 200, patienceMs);
        act("seek", 4700);
        QTRY_VERIFY_WITH_TIMEOUT(text("state") == "stopped" || position() < 1000, patienceMs);
        const Recording heard(path("heard"));
        QVERIFY2(qAbs(heard.frequency(10, 240) - 700) < 4,
                 qPrintable(QString::number(heard.frequency(10, 240))));
        QVERIFY(qAbs(heard.frequency(350, 600) - 800) < 2);
    }

    void isAsLoudAsAsked_data() {
        // Settings of the player, tags of the file, and the level in dB beside the source's.
        addRows(R"(
full                    |100||off  ||0
half                    |50 ||off  ||-18.06
a tenth                 |10 ||off  ||-60
muted                   |100|yes|off||-200
by track                |100||track|REPLAYGAIN_TRACK_GAIN=-6 dB|-6
by album                |100||album|REPLAYGAIN_TRACK_GAIN=-6 dB;REPLAYGAIN_ALBUM_GAIN=-12 dB|-12
by track for lack of one|100||album|REPLAYGAIN_TRACK_GAIN=-6 dB|-6
off                     |100||off  |REPLAYGAIN_TRACK_GAIN=-6 dB|0
no louder than fits     |100||track|REPLAYGAIN_TRACK_GAIN=+12 dB;REPLAYGAIN_TRACK_PEAK=0.5|6.02
without tags            |100||track||0
)");
    }

    void isAsLoudAsAsked() {
        QFETCH(QByteArrayList, fields);
        QStringList options;
        for (const QString& tag : QString(fields[3]).split(';', Qt::SkipEmptyParts))
            options << "-metadata" << tag;
        makeTone("tone.flac", 500, 1000, options);
        start({"tone.flac"}, false, fields[2]);
        setData("player:player/volume", "value", fields[0].toInt());
        setData("player:player/mute", "value", !fields[1].isEmpty());
        QCoreApplication::processEvents();
        const double level = 20 * std::log10(playToTheEnd().rms(100, 800) / 0.1414 + 1e-10);
        QVERIFY2(qAbs(level - fields[4].toDouble()) < 0.2, qPrintable(QString::number(level)));
    }

    void skipsWhatCannotBePlayed() {
        makeTone("good.flac", 500, 500);
        writeFile(path("music/noise.mp3"), QByteArray(300000, '\x55'));
        makeTone("last.flac", 700, 500);
        start({"good.flac", "gone.mp3", "noise.mp3", "last.flac"});
        CMRoot()->connectValueChange(CMPath::fromEncoded("player:player/error"), this,
                                     SLOT(on_error_changed(PlixValue)));
        const Recording heard = playToTheEnd();
        QVERIFY(qAbs(heard.frequency(50, 400) - 700) < 2);
        QCOMPARE(m_errors, (QStringList{"gone.mp3: It is not there any more",
                                        "noise.mp3: It contains no music in a known format"}));
    }

    void survivesTheEndOfItsProgram_data() {
        addRows(R"(
crash|11
hang |19
)");
    }

    void survivesTheEndOfItsProgram() {
        QFETCH(QByteArrayList, fields);
        makeTone("one.flac", 500, 60000);
        start({"one.flac", "one.flac"}, true);
        act("play");
        QTRY_VERIFY_WITH_TIMEOUT(position() > 100, patienceMs);
        ::kill(program(), fields[0].toInt());
        QTRY_COMPARE_WITH_TIMEOUT(text("state"), QStringLiteral("paused"), patienceMs);
        const qint64 before = position();
        QVERIFY(text("error").startsWith("one.flac: The playback program"));
        QCOMPARE(titlesOf("player:queue").size(), 2);
        act("play");
        QCOMPARE(text("error"), QString());
        QTRY_VERIFY_WITH_TIMEOUT(position() > before + 100, patienceMs);
    }

    // It says what it plays, breaks off, and is heard again.
    void listensToAStation() {
        encode({"-f", "lavfi", "-i", "sine=500:d=3"}, "radio.mp3");
        const QByteArray sound = readFile(path("music/radio.mp3"));
        const QByteArray news = QByteArray("StreamTitle='Band - Song';").leftJustified(32, '\0');
        constexpr int interval = 8000;
        QByteArray body;
        for (int i = 0; i < sound.size(); i += interval)
            body += sound.mid(i, interval) + '\2' + news;
        HttpSource station(
            "HTTP/1.0 200 OK\r\nContent-Type: audio/mpeg\r\nicy-metaint: 8000\r\n\r\n" + body);
        station.close();
        CMNodesWorker radio({}, "radio");
        radio.setNode("radio:/one", {{"title", "Station"},
                                     {"type", "audio"},
                                     {"value", QVariantHash{{"string_", station.url()}}}});
        start({}, true);
        act("play", QVariantHash{{"path", "radio:/one"}});
        QTRY_COMPARE_WITH_TIMEOUT(title(), QStringLiteral("Band - Song"), patienceMs);
        QCOMPARE(valueOf("player:player/track").value("artist").toString(),
                 QStringLiteral("Station"));
        QTRY_VERIFY_WITH_TIMEOUT(text("error").endsWith("Trying again"), patienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(text("error"), QString(), patienceMs);
        QCOMPARE(text("state"), QStringLiteral("playing"));
        QVERIFY(station.requests().size() >= 2);
    }

    // It goes on when it has been paused, and the worker ends with the last reader.
    void playsWhatAWorkerProduces() {
        start({}, true);
        m_media.reset();
        const MediaWorker media{QVariantHash()};
        act("play", QVariantHash{{"path", "media:/live"}});
        QTRY_VERIFY_WITH_TIMEOUT(position() > 700, patienceMs);
        QCOMPARE(PlixValue(valueOf("player:player/duration")).i64_(), 0);
        act("pause");
        const qint64 paused = position();
        act("play");
        QTRY_VERIFY_WITH_TIMEOUT(position() > paused + 300, patienceMs);
        QVERIFY(Recording(path("heard")).rms(100, 500) > 0.01);
        QVERIFY(openPipes() > 0);
        act("stop");
        QTRY_COMPARE_WITH_TIMEOUT(openPipes(), 0, patienceMs);
        m_player.reset();
    }

    void on_error_changed(const PlixValue& value) {
        if (!value.string_().isEmpty())
            m_errors.append(value.string_());
    }

private:
    QString path(const QString& name) const { return m_folder->filePath(name); }

    void encode(QStringList arguments, const QString& name) const {
        QDir().mkpath(path("music"));
        arguments.prepend("-y");
        QProcess ffmpeg;
        ffmpeg.start("ffmpeg", QStringList{"-loglevel", "error"} + arguments +
                                   QStringList(path("music/" + name)));
        QVERIFY(ffmpeg.waitForFinished(-1));
        QVERIFY2(ffmpeg.exitCode() == 0, ffmpeg.readAllStandardError().constData());
    }

    void makeTone(const QString& name, int frequency, int ms,
                  const QStringList& options = {}) const {
        const QString source = QStringLiteral("aevalsrc=0.2*sin(2*PI*%1*t):d=%2:s=44100")
                                   .arg(frequency)
                                   .arg(ms / 1000.0);
        encode(QStringList{"-f", "lavfi", "-i", source} + options, name);
    }

    void start(const QStringList& files, bool inRealTime = false,
               const QString& replayGain = "off") {
        m_settings = std::make_unique<CMNodesWorker>(QVariantHash(), "settings");
        const auto set = [this](const QString& name, const QString& value) {
            m_settings->setValue("settings:/" + name, PlixValue::fromScalar(value));
        };
        set("player/engine", "gstreamer");
        set("player/output", Recording::output(path("heard"), inRealTime));
        set("player/replayGain", replayGain);
        m_media = std::make_unique<FolderWorker>(path("music"));
        QVariantList rows;
        for (const QString& name : files)
            rows.append(QVariantHash{{"title", name},
                                     {"type", "audio"},
                                     {"value", QVariantHash{{"string_", "media:/" + name}}}});
        const QVariantHash nodes{
            {"player:queue", QVariantHash{{"rows", rows}}},
            {"player:player/volume", QVariantHash{{"value", QVariantHash{{"i32_", 100}}}}}};
        m_player = std::make_unique<PlayerWorker>(QVariantHash{{"nodes", nodes}});
    }

    Recording playToTheEnd() {
        act("play");
        [&] { QTRY_COMPARE_WITH_TIMEOUT(text("state"), QStringLiteral("stopped"), patienceMs); }();
        return Recording(path("heard"));
    }

    // Of this process, which is the worker's too.
    static int openPipes() {
        int count = 0;
        const QFileInfoList descriptors =
            QDir("/proc/self/fd").entryInfoList(QDir::AllEntries | QDir::System);
        for (const QFileInfo& descriptor : descriptors)
            count += descriptor.symLinkTarget().startsWith(PlixHttpRequest::pipePrefix());
        return count;
    }

    // The only child of this process.
    static qint64 program() {
        const QByteArray own = QByteArray::number(QCoreApplication::applicationPid());
        return readFile("/proc/" + own + "/task/" + own + "/children").trimmed().toLongLong();
    }

    CMRootWorker m_root;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<CMNodesWorker> m_settings;
    std::unique_ptr<FolderWorker> m_media;
    std::unique_ptr<PlayerWorker> m_player;
    QStringList m_errors;
};

QTEST_GUILESS_MAIN(TestPlayback)
#include "test_playback.moc"
