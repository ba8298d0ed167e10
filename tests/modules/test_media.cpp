#include "core/model/cmroot.h"
#include "core/model/cmrootworker.h"
#include "core/plixhttprequest.h"
#include "core/plixnamedpipe.h"
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
    void generatesTracks() {
        const MediaWorker worker(config());
        QTRY_COMPARE(rows({}).size(), 6);
        const QVariantList list = rows({"value", "icon", "maximum"});
        for (const QVariant& entry : list) {
            const QVariantList row = entry.toList();
            QVERIFY(row[2].toInt() >= 8000 && row[2].toInt() <= 20000);
            QCOMPARE(ask(row[1].toString()).contentType(), QStringLiteral("image/svg+xml"));
            QFile file(ask(PlixValue(row[0].toHash()).string_()).localFile());
            QVERIFY(file.open(QIODevice::ReadOnly));
            const auto info = WavFormat::read(file);
            QVERIFY(info && info->durationMs == row[2].toLongLong());
        }
        QCOMPARE(QDir(path("media")).entryList(QDir::Files | QDir::Hidden).size(), 6);
    }

    void followsDirectory() {
        write(path("mine/My Song.mp3"), "x");
        CMNodesWorker settings({}, "settings");
        settings.setValue(directoryPath, PlixValue::fromScalar(path("mine")));
        const MediaWorker worker(config());
        QCOMPARE(titles(), QStringList{"My Song"});
        write(path("mine/b.ogg"), "x");
        write(path("mine/c.txt"), "x");
        QTRY_COMPARE(titles(), (QStringList{"My Song", "b"}));
        settings.setValue(directoryPath, PlixValue::fromScalar(path("none")));
        QTRY_COMPARE(titles(), QStringList());
    }

    void answersForItsFilesOnly() {
        for (const char* file :
             {"mine/a.wav", "mine/B.MP3", "mine/notes.txt", "mine/.hidden.wav", "mine/covers/a.png",
              "mine/covers/deep/a.png", "mine/folder.wav/a.wav", "secret.wav"})
            write(path(file), "x");
        QVERIFY(QFile::link(path("secret.wav"), path("mine/link.wav")));
        CMNodesWorker settings({}, "settings");
        settings.setValue(directoryPath, PlixValue::fromScalar(path("mine")));
        const MediaWorker worker(config());
        for (const char* name : {"a.wav", "B.MP3", "covers/a.png"})
            QVERIFY2(ask(QLatin1String("media:/") + name).status() == 200, name);
        for (const char* name :
             {"z.wav", "", "covers", "folder.wav", "notes.txt", "covers/deep/a.png",
              "../secret.wav", "covers/../a.wav", "/etc/passwd", ".hidden.wav", "link.wav"})
            QVERIFY2(ask(QLatin1String("media:/") + name).status() == 404, name);
        QCOMPARE(ask("media:/a.wav" + QString(QChar()) + ".wav").status(), 404);
    }

    void writesFileThroughPipe() {
        const MediaWorker worker(config());
        QTRY_VERIFY(worker.hasNode("media:/morning-tide.wav"));
        QFile file(path("media/morning-tide.wav"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray expected = file.readAll();

        Reader reader;
        const PlixHttpRequestReply reply = ask("media:/morning-tide.wav", reader.name());
        QCOMPARE(reply.contentType(), QStringLiteral("audio/wav"));
        QCOMPARE(reply.contentLength(), qint64(expected.size()));
        QVERIFY(!reply.__contains(PlixHttpRequestReply::LocalFile()));
        QByteArray bytes;
        QTRY_VERIFY((bytes += reader.read()).size() >= expected.size());
        QVERIFY(bytes == expected);
        QTRY_VERIFY(!worker.findChild<PipeWriter*>());
    }

    void refusesForeignPipe() {
        const MediaWorker worker(config());
        for (const char* suffix : {"", "1/../../etc/x", "x"})
            QCOMPARE(ask("media:/live", PlixHttpRequest::pipePrefix() + suffix).status(), 400);
        QCOMPARE(ask("media:/live", path("updater")).status(), 400);
        // Nobody reads it.
        QCOMPARE(ask("media:/live", PlixHttpRequest::pipePrefix() + "9000000002").status(), 503);
    }

    void pacesLiveStream() {
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
            QVERIFY(bytes.size() <= 44 + clock.elapsed() * 32);
        }
        QTRY_VERIFY(!worker.findChild<PipeWriter*>());
    }

private:
    QString path(const char* name) const { return m_state->filePath(name); }
    QVariantHash config() const { return {{"stateDir", m_state->path()}}; }

    CMRootWorker m_root;
    std::unique_ptr<QTemporaryDir> m_state;
};

QTEST_GUILESS_MAIN(TestMedia)
#include "test_media.moc"
