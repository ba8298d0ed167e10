// SPDX-License-Identifier: MIT
#include "core/model/cmrootworker.h"
#include "core/plixhttprequest.h"
#include "datamodel.h"
#include "files.h"
#include "livesource.h"
#include "mediaworker.h"
#include "wavformat.h"

#include <QtTest>

namespace {

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

} // namespace

class TestMedia : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_state = std::make_unique<QTemporaryDir>(); }

    void generatesTracks() {
        const MediaWorker worker(config());
        QTRY_COMPARE(rowsOf("media:/", {}).size(), 6);
        for (const QVariant& entry : rowsOf("media:/", {"value", "icon", "maximum"})) {
            const QVariantList row = entry.toList();
            QVERIFY(row[2].toInt() >= 8000 && row[2].toInt() <= 20000);
            QCOMPARE(ask(row[1].toString()).contentType(), QStringLiteral("image/svg+xml"));
            const QString track = PlixValue(row[0].toHash()).string_();
            QFile file(ask(track).localFile());
            QVERIFY(file.open(QIODevice::ReadOnly));
            const auto info = WavFormat::read(file);
            QVERIFY(info && info->durationMs == row[2].toLongLong());
        }
        QCOMPARE(QDir(path("media")).entryList(QDir::Files | QDir::Hidden).size(), 6);
    }

    void servesItsDirectoryOnly() {
        for (const char* file :
             {"mine/a.wav", "mine/notes.txt", "mine/.hidden.wav", "mine/covers/a.png",
              "mine/covers/deep/a.png", "mine/folder.wav/a.wav", "secret.wav"})
            addFile(file);
        QVERIFY(QFile::link(path("secret.wav"), path("mine/link.wav")));
        CMNodesWorker settings({}, "settings");
        const auto setDirectory = [&](const char* name) {
            settings.setValue("settings:/media/directory", PlixValue::fromScalar(path(name)));
        };
        setDirectory("mine");
        QVariantHash withoutTags = config();
        withoutTags.insert("scanProgram", "none");
        const MediaWorker worker(withoutTags);
        QCOMPARE(titlesOf("media:/"), QStringList{"a"});
        addFile("mine/My Song.MP3");
        QTRY_COMPARE(titlesOf("media:/"), (QStringList{"a", "My Song"}));
        for (const char* name : {"a.wav", "My Song.MP3", "covers/a.png"})
            QVERIFY2(ask(QLatin1String("media:/") + name).status() == 200, name);
        for (const char* name :
             {"z.wav", "", "covers", "folder.wav", "notes.txt", "covers/deep/a.png",
              "../secret.wav", "covers/../a.wav", "/etc/passwd", ".hidden.wav", "link.wav"})
            QVERIFY2(ask(QLatin1String("media:/") + name).status() == 404, name);
        QCOMPARE(ask("media:/a.wav" + QString(QChar()) + ".wav").status(), 404);
        setDirectory("none");
        QTRY_COMPARE(titlesOf("media:/"), QStringList());
    }

    // Players look at some seconds of it before they begin.
    void liveBeginsAtOnce() {
        QElapsedTimer time;
        time.start();
        LiveSource live;
        QVERIFY(live.read(1 << 20).startsWith("RIFF"));
        const qint64 second = Melody::sampleRate * Melody::bytesPerSample;
        qint64 bytes = live.read(1 << 20).size();
        QVERIFY(bytes >= 6 * second);
        bytes += live.read(1 << 20).size();
        QVERIFY(bytes <= 6 * second + (time.elapsed() + 1) * second / 1000);
    }

    void refusesForeignPipe() {
        const MediaWorker worker(config());
        for (const char* suffix : {"", "1/../../etc/x", "x"})
            QCOMPARE(ask("media:/live", PlixHttpRequest::pipePrefix() + suffix).status(), 400);
        QCOMPARE(ask("media:/live", path("updater")).status(), 400);
        // Nobody reads it.
        QCOMPARE(ask("media:/live", PlixHttpRequest::pipePrefix() + "9000000002").status(), 503);
    }

private:
    QString path(const char* name) const { return m_state->filePath(name); }
    void addFile(const char* name) const { writeFile(path(name), "x"); }
    QVariantHash config() const { return {{"stateDir", m_state->path()}}; }

    CMRootWorker m_root;
    std::unique_ptr<QTemporaryDir> m_state;
};

QTEST_GUILESS_MAIN(TestMedia)
#include "test_media.moc"
