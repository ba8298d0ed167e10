#include "core/model/cmroot.h"
#include "core/model/cmrootworker.h"
#include "core/plixhttprequest.h"
#include "core/plixnamedpipe.h"
#include "livesource.h"
#include "mediaworker.h"
#include "pipewriter.h"
#include "wavformat.h"

#include <QtTest>

namespace {

const QString directoryPath = QStringLiteral("settings:/media/directory");

QVariantList rows(const QStringList& roles) {
    const CMReply<PlixRowsRoles> reply;
    CMRoot()->getRows(CMPath::fromEncoded("media:/"), 0, 100, -1, roles, reply);
    return reply.value().rows().toList();
}

QStringList titles() {
    QStringList list;
    for (const QVariant& row : rows({"title"}))
        list.append(row.toList().first().toString());
    return list;
}

PlixHttpRequestReply ask(const QString& path, const QString& pipe = {}) {
    PlixHttpRequestData data;
    data.setVariable("QUERY_STRING", pipe.isNull() ? "" : "via=pipe");
    PlixHttpRequest request;
    request.setData(data);
    request.setPipe(pipe);
    const CMReply<QVariant> reply;
    CMRoot()->setData(CMPath::fromEncoded(path), "httpRequest", request.__variant(), reply);
    return PlixHttpRequestReply(reply.value().toHash());
}

QVariantHash textNode(const QString& text) {
    return {{"value", QVariantHash{{"string_", text}}}};
}

void write(const QString& path, const QByteArray& content) {
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
}

// The reading end of a pipe such as the web server makes.
class Reader {
public:
    Reader()
        : m_pipe(PlixHttpRequest::pipePrefix() + "9000000001", PlixNamedPipe::Read, nullptr, true) {
        m_pipe.setNonBlock(true);
        if (!m_pipe.create() || !m_pipe.open(false))
            QTest::qFail("no pipe", __FILE__, __LINE__);
    }
    QString name() const { return m_pipe.name(); }
    QByteArray read() {
        QByteArray bytes(1 << 20, '\0');
        bytes.resize(int(std::max<qint64>(m_pipe.read(bytes.data(), bytes.size()), 0)));
        return bytes;
    }

private:
    PlixNamedPipe m_pipe;
};

} // namespace

class TestMedia : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_state = std::make_unique<QTemporaryDir>(); }
    void generatesTracks();
    void followsDirectory();
    void answersForItsFilesOnly_data();
    void answersForItsFilesOnly();
    void writesFileThroughPipe();
    void refusesForeignPipe();
    void pacesLiveStream();
    void leavesOutWhatIsLate();

private:
    QString path(const char* name) const { return m_state->filePath(name); }
    QVariantHash config() const { return {{"stateDir", m_state->path()}}; }

    CMRootWorker m_root;
    std::unique_ptr<QTemporaryDir> m_state;
};

void TestMedia::generatesTracks() {
    {
        const MediaWorker worker(config());
        QTRY_COMPARE(rows({}).size(), 6);
    }
    // What has been made is there at once the next time.
    const MediaWorker worker(config());
    const QVariantList list = rows({"value", "description", "icon", "maximum", "type"});
    QCOMPARE(list.size(), 6);
    for (const QVariant& entry : list) {
        const QVariantList row = entry.toList();
        const QString trackPath = PlixValue(row[0].toHash()).string_();
        QVERIFY(!row[1].toString().isEmpty());
        QVERIFY2(row[3].toInt() >= 8000 && row[3].toInt() <= 20000, qPrintable(trackPath));
        QCOMPARE(row[4].toString(), QStringLiteral("audio"));
        QCOMPARE(ask(row[2].toString()).contentType(), QStringLiteral("image/svg+xml"));

        QFile file(ask(trackPath).localFile());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const auto info = WavFormat::read(file);
        QVERIFY(info);
        QCOMPARE(info->durationMs, row[3].toLongLong());
        file.seek(0);
        const QByteArray bytes = file.readAll();
        QCOMPARE(int(qFromLittleEndian<quint32>(bytes.constData() + 4)), bytes.size() - 8);
        // Faded in and out.
        QCOMPARE(bytes.right(2), QByteArray(2, '\0'));
    }
    QCOMPARE(QDir(path("media")).entryList(QDir::Files | QDir::Hidden).size(), 6);
}

void TestMedia::followsDirectory() {
    write(path("mine/My Song.mp3"), "x");
    CMNodesWorker settings({}, "settings");
    settings.setNode(directoryPath, textNode(path("mine")));
    const MediaWorker worker(config());
    QCOMPARE(titles(), QStringList{"My Song"});
    write(path("mine/b.ogg"), "x");
    write(path("mine/c.txt"), "x");
    QTRY_COMPARE(titles(), (QStringList{"My Song", "b"}));
    QVERIFY(QFile::remove(path("mine/b.ogg")));
    QTRY_VERIFY(!worker.hasNode("media:/b.ogg"));
    settings.setValue(directoryPath, PlixValue({{"string_", path("none")}}));
    QTRY_COMPARE(titles(), QStringList());
}

void TestMedia::answersForItsFilesOnly_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("status");
    QTest::newRow("audio") << "media:/a.wav" << 200;
    QTest::newRow("upper case") << "media:/B.MP3" << 200;
    QTest::newRow("cover") << "media:/covers/a.png" << 200;
    QTest::newRow("missing") << "media:/z.wav" << 404;
    QTest::newRow("no name") << "media:/" << 404;
    QTest::newRow("folder") << "media:/covers" << 404;
    QTest::newRow("folder named like audio") << "media:/folder.wav" << 404;
    QTest::newRow("file of another kind") << "media:/notes.txt" << 404;
    QTest::newRow("below a folder") << "media:/covers/deep/a.png" << 404;
    QTest::newRow("out of the folder") << "media:/../secret.wav" << 404;
    QTest::newRow("out of the covers") << "media:/covers/../a.wav" << 404;
    QTest::newRow("absolute") << "media://etc/passwd" << 404;
    QTest::newRow("hidden") << "media:/.hidden.wav" << 404;
    QTest::newRow("link to the outside") << "media:/link.wav" << 404;
    QTest::newRow("NUL") << "media:/a.wav" + QString(QChar()) + ".wav" << 404;
}

void TestMedia::answersForItsFilesOnly() {
    QFETCH(QString, name);
    for (const char* file :
         {"mine/a.wav", "mine/B.MP3", "mine/notes.txt", "mine/.hidden.wav", "mine/covers/a.png",
          "mine/covers/deep/a.png", "mine/folder.wav/a.wav", "secret.wav"})
        write(path(file), "x");
    QVERIFY(QFile::link(path("secret.wav"), path("mine/link.wav")));
    CMNodesWorker settings({}, "settings");
    settings.setNode(directoryPath, textNode(path("mine")));
    const MediaWorker worker(config());
    QTEST(ask(name).status(), "status");
}

void TestMedia::writesFileThroughPipe() {
    const MediaWorker worker(config());
    QTRY_VERIFY(worker.hasNode("media:/morning-tide.wav"));
    QFile file(path("media/morning-tide.wav"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray expected = file.readAll();

    Reader reader;
    const PlixHttpRequestReply reply = ask("media:/morning-tide.wav", reader.name());
    QCOMPARE(reply.status(), 200);
    QCOMPARE(reply.contentType(), QStringLiteral("audio/wav"));
    QCOMPARE(reply.contentLength(), qint64(expected.size()));
    QVERIFY(!reply.__contains(PlixHttpRequestReply::LocalFile()));
    QByteArray bytes;
    QTRY_VERIFY((bytes += reader.read()).size() >= expected.size());
    QVERIFY(bytes == expected);
    QTRY_VERIFY(!worker.findChild<PipeWriter*>());
}

void TestMedia::refusesForeignPipe() {
    const MediaWorker worker(config());
    for (const char* suffix : {"", "1/../../etc/x", "x"})
        QCOMPARE(ask("media:/live", PlixHttpRequest::pipePrefix() + suffix).status(), 400);
    QCOMPARE(ask("media:/live", path("updater")).status(), 400);
    // Nobody reads it.
    QCOMPARE(ask("media:/live", PlixHttpRequest::pipePrefix() + "9000000002").status(), 503);
}

void TestMedia::pacesLiveStream() {
    const MediaWorker worker(config());
    QElapsedTimer clock;
    clock.start();
    {
        Reader reader;
        QCOMPARE(ask("media:/live", reader.name()).status(), 200);
        QByteArray bytes;
        QTRY_VERIFY((bytes += reader.read()).size() > 16000);
        QVERIFY(bytes.startsWith("RIFF\xff\xff\xff\xffWAVE"));
        // 16 kHz of 16 bits, behind the header.
        QVERIFY2(bytes.size() <= 44 + clock.elapsed() * 32,
                 qPrintable(QString::number(bytes.size())));
    }
    QTRY_VERIFY(!worker.findChild<PipeWriter*>());
}

void TestMedia::leavesOutWhatIsLate() {
    LiveSource source;
    QCOMPARE(source.read(1000).size(), 44);
    QTest::qWait(1500);
    QCOMPARE(source.read(1 << 20).size(), 32000);
    QVERIFY(source.read(1 << 20).size() < 1000);
}

QTEST_GUILESS_MAIN(TestMedia)
#include "test_media.moc"
