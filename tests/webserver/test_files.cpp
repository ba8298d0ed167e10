// SPDX-License-Identifier: MIT
#include "core/plixhost.h"
#include "handlers/responderhandler.h"
#include "handlers/statichandler.h"
#include "rawclient.h"
#include "responders/file/fileresponder.h"
#include "responders/responderfactory.h"
#include "testdevice.h"

#include <QCryptographicHash>
#include <QDir>
#include <QTest>
#include <QTimer>

namespace {

// Takes hundreds of slices to hash, and takes no room on a disk.
constexpr qint64 largeSize = (64 << 20) + 1;

// How many bytes this process has read from files and pipes.
qint64 bytesRead() {
    return readFile("/proc/self/io").split('\n').first().split(' ').last().toLongLong();
}

} // namespace

class TestFiles : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_folder;
    const QString m_name = m_folder.filePath("large");
    std::unique_ptr<TestServer> m_server;

    // A file that nobody has asked for yet, and its digest.
    static QByteArray makeLarge(const QString& name, const QByteArray& begin, qint64 size) {
        QFile::remove(name);
        writeFile(name, begin);
        QFile::resize(name, size);
        QFile file(name);
        QCryptographicHash hash(QCryptographicHash::Md5);
        return file.open(QIODevice::ReadOnly) && hash.addData(&file) ? hash.result().toHex() : "";
    }

    // Descriptors and mappings of the file.
    std::pair<int, int> uses() const {
        int descriptors = 0;
        for (const QFileInfo& entry : QDir("/proc/self/fd").entryInfoList(QDir::Files))
            descriptors += entry.symLinkTarget().startsWith(m_name);
        return {descriptors, readFile("/proc/self/maps").count(m_name.toUtf8())};
    }

    std::unique_ptr<RawClient> ask(const QByteArray& method = "GET",
                                   const QByteArray& header = "Range: bytes=0-0",
                                   const QByteArray& folder = "/") const {
        auto client = std::make_unique<RawClient>(m_server->port());
        client->send(RawClient::requestBytes(method, folder + "large", header + "\r\n"));
        return client;
    }

private Q_SLOTS:
    void init() {
        m_server = std::make_unique<TestServer>();
        m_server->add("/", new StaticHandler(m_folder.path(), "", "", nullptr));
        plixSetPlatformPaths(m_folder.path() + '/', QString());
        m_server->add(
            "/file/stream/",
            new ResponderHandler(makeDefaultResponderFactory<FileResponder>(), "", nullptr));
        writeFile(m_folder.filePath("small"), "small");
    }
    void cleanup() { m_server.reset(); }

    void hashesOnceAndBesideOthers() {
        const QByteArray digest = makeLarge(m_name, "x", largeSize);
        RawClient other(m_server->port());
        const qint64 before = bytesRead();
        const auto stream =
            ask("GET", "Range: bytes=0-0", "/file/stream/" + m_folder.path().toUtf8() + '/');
        const auto part = ask();
        const auto head = ask("HEAD");
        const auto condition = ask("GET", "If-None-Match: *");
        QTRY_COMPARE(uses().first, 1);
        other.send(RawClient::requestBytes("GET", "/small"));
        QCOMPARE(other.readReply().body, QByteArray("small"));
        for (const auto* client : {&stream, &part, &head, &condition})
            QCOMPARE((*client)->socket().bytesAvailable(), 0);

        for (const auto* client : {&stream, &part}) {
            const HttpReply reply = (*client)->readReply();
            QCOMPARE(reply.body, QByteArray("x"));
            QCOMPARE(reply.header("ETag"), digest);
        }
        QCOMPARE(head->readReply(true).header("Content-Length").toLongLong(), largeSize);
        QCOMPARE(condition->readReply().status, 304);
        QVERIFY(bytesRead() - before < 2 * largeSize);
    }

    void readersShareOneMapping() {
        makeLarge(m_name, "x", largeSize);
        std::vector<std::unique_ptr<RawClient>> clients;
        for (int i = 0; i < 20; ++i) {
            clients.push_back(ask("GET", "X: y"));
            clients.back()->socket().setReadBufferSize(1024);
        }
        for (const auto& client : clients)
            QCOMPARE(client->readReply(true).status, 200);
        QCOMPARE(uses(), std::pair(1, 1));
        clients.clear();
        QTRY_COMPARE(uses(), std::pair(0, 0));
    }

    void answersFromTheVersionAtTheEnd() {
        const QString newName = m_folder.filePath("new");
        const QByteArray newDigest = makeLarge(newName, "y", largeSize + 1);
        makeLarge(m_name, "x", largeSize);
        auto client = ask();
        QTRY_COMPARE(uses().first, 1);
        QCOMPARE(rename(qPrintable(newName), qPrintable(m_name)), 0);
        const HttpReply replaced = client->readReply();
        QCOMPARE(replaced.body, QByteArray("y"));
        QCOMPARE(replaced.header("ETag"), newDigest);

        const auto whenHashed = [&](const std::function<void()>& change) {
            makeLarge(m_name, "x", largeSize);
            client = ask();
            [&] { QTRY_COMPARE(uses().first, 1); }();
            change();
            return client->readReply();
        };
        QCOMPARE(whenHashed([&] { QFile::resize(m_name, 10); }).header("Content-Range"),
                 QByteArray("bytes 0-0/10"));
        QCOMPARE(whenHashed([&] { QFile::remove(m_name); }).status, 404);
        QTimer timer;
        QFile file(m_name);
        connect(&timer, &QTimer::timeout, [&] { file.resize(file.size() + 1); });
        QCOMPARE(whenHashed([&] { timer.start(0); }).status, 206);
    }

    void stopsWhenNobodyWaits() {
        constexpr qint64 size = qint64(2) << 30;
        writeFile(m_name, "x");
        QVERIFY(QFile::resize(m_name, size));
        const qint64 before = bytesRead();
        auto client = ask();
        QTRY_COMPARE(uses().first, 1);
        client->reset();
        QTRY_COMPARE(uses().first, 0);
        client = ask();
        QTRY_COMPARE(uses().first, 1);
        m_server->server().stop();
        // Without another turn of the event loop, as when the device stops.
        QCOMPARE(uses().first, 0);
        QVERIFY(bytesRead() - before < size);
    }
};

QTEST_GUILESS_MAIN(TestFiles)
#include "test_files.moc"
