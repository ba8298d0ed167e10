// SPDX-License-Identifier: MIT
#include "core/plixhost.h"
#include "handlers/responderhandler.h"
#include "handlers/statichandler.h"
#include "openwatch.h"
#include "rawclient.h"
#include "responders/file/fileresponder.h"
#include "responders/responderfactory.h"
#include "table.h"
#include "testdevice.h"

#include <QDir>
#include <QTest>

#include <sys/stat.h>

namespace {

// Behaviour, method, target, request headers, status, body (of a 404 or 416: the not-found text),
// and a header of the answer, which is absent when it stands without a value. ROOT stands for the
// folder that /ten.txt is in.
const char exchanges[] = R"(
whole file         |GET|/ten.txt||200|0123456789|ETag: 781e5e245d69b566979b86e28d23f2c7
HEAD               |HEAD|/ten.txt|Range: bytes=0-0|200||Content-Length: 10
POST               |POST|/ten.txt|If-None-Match: *|200|0123456789|ETag: 781e5e245d69b566979b86e28d23f2c7
unknown method     |PUT|/ten.txt||405||Allow: GET, HEAD, POST
empty file         |GET|/empty|Range: bytes=0-0|200||Content-Length: 0
ranges are offered |GET|/ten.txt||200|0123456789|Accept-Ranges: bytes
no other type      |GET|/ten.txt||200|0123456789|X-Content-Type-Options: nosniff
no foreign frame   |HEAD|/ten.txt||200||X-Frame-Options: SAMEORIGIN
no foreign referrer|GET|/%251.txt||404||Referrer-Policy: same-origin
range of one byte  |GET|/ten.txt|Range: Bytes=, 0-00 ,|206|0|Content-Range: bytes 0-0/10
last bytes         |GET|/ten.txt|Range: bytes=-3|206|789|Content-Range: bytes 7-9/10
suffix beyond it   |GET|/ten.txt|Range: bytes=-11|206|0123456789|Content-Range: bytes 0-9/10
end beyond 64 bits |GET|/ten.txt|Range: bytes=8-18446744073709551617|206|89|Content-Length: 2
huge start         |GET|/ten.txt|Range:bytes=18446744073709551616-|416||Content-Range: bytes */10
several ranges     |GET|/ten.txt|Range: bytes=0-4,3-9|200|0123456789|Content-Range
start beyond       |GET|/ten.txt|Range: bytes=10-|416||Content-Range: bytes */10
invalid range      |GET|/ten.txt|Range: bytes=4-3|200|0123456789|Content-Range
If-Range           |GET|/ten.txt|Range: bytes=9-;If-Range: 781e5e245d69b566979b86e28d23f2c7|206|9|Content-Length: 1
stale If-Range     |GET|/ten.txt|Range: bytes=99-;If-Range: x|200|0123456789|Content-Range
not modified       |GET|/ten.txt|If-None-Match: x;If-None-Match: W/"781e5e245d69b566979b86e28d23f2c7"|304||Content-Length: 10
If-Match           |POST|/ten.txt|If-Match: x;If-Match: "781e5e245d69b566979b86e28d23f2c7"|200|0123456789|ETag: 781e5e245d69b566979b86e28d23f2c7
other If-Match     |GET|/ten.txt|If-Match: "x"|412||Content-Range
missing            |GET|/%251.txt||404||Content-Type: text/plain
slash after a file |GET|/ten.txt/||404||ETag
NUL                |GET|/ten.txt%00.png||404||ETag
FIFO               |GET|/fifo||404||ETag
doubled slashes    |GET|//sub//..//ten.txt||200|0123456789|ETag: 781e5e245d69b566979b86e28d23f2c7
beside the root    |GET|/..%2fwww-old/secret||404||ETag
above the root     |GET|/..%2f..%2f..%2f..%2fetc/passwd||404||ETag
link to outside    |GET|/link||404||ETag
parent of a link   |GET|/deep/..%2f..%2fsecret||200|inside|Content-Length: 6
index page         |GET|/sub/||200|index|Content-Type: text/html
no index page      |GET|/a/?q=1||301||Location: http://localhost/a/index.fcgi?q=1
no slash           |GET|//sub||301||Location: http://localhost//sub/
line break         |GET|/x%0D%0AY:%20z||301||Location: http://localhost/x%0D%0AY:%20z/
prefix             |GET|/ui/ten.txt||200|0123456789|ETag: 781e5e245d69b566979b86e28d23f2c7
root behind a link |GET|/linked/ten.txt||404||ETag
root of everything |GET|/all/etc/passwd|Range: bytes=0-4|206|root:|Content-Length: 5
readable file      |GET|/file/stream/ROOT/ten.txt|Range: bytes=-3|206|789|Content-Length: 3
folder below       |GET|/file/stream/ROOT/sub/index.html||404||ETag
no root            |GET|/none/etc/passwd||404||ETag
beside it          |GET|/file/stream/ROOT-old/secret||404||ETag
doubled slash      |GET|/file/stream/ROOT//ten.txt||404||ETag
dots in the path   |GET|/file/stream/ROOT/..%2fwww/ten.txt||404||ETag
NUL in the path    |GET|/file/stream/ROOT/ten.txt%00.png||404||ETag
LF before the path |GET|/file/stream/%0AROOT/ten.txt||404||ETag
)";

} // namespace

class TestStaticHandler : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_base;
    QDir m_root{m_base.filePath("www")};
    std::unique_ptr<TestServer> m_server;

    void write(const QString& name, const QByteArray& content) const {
        writeFile(m_root.filePath(name), content);
    }

    void add(const QString& path, const QString& root, const QString& prefix) const {
        m_server->add(path, new StaticHandler(root, "start.html", prefix, nullptr));
    }

private Q_SLOTS:
    void initTestCase() {
        for (const char* folder : {"a/b/c", "x\r\nY: z"})
            m_root.mkpath(folder);
        write("ten.txt", "0123456789");
        write("empty", "");
        write("sub/index.html", "index");
        write("a/secret", "inside");
        write("../secret", "no");
        write("../www-old/secret", "no");
        QFile::link("../secret", m_root.filePath("link"));
        QFile::link("a/b/c", m_root.filePath("deep"));
        QFile::link("www", m_base.filePath("linked"));
        QCOMPARE(mkfifo(qPrintable(m_root.filePath("fifo")), 0600), 0);

        m_server = std::make_unique<TestServer>();
        add("/", m_root.path(), "");
        add("/u", m_root.path(), "/ui");
        add("/linked/", m_base.filePath("linked") + '/', "/linked");
        add("/all/", "/", "/all");
        add("/none/", "", "/none");
        plixSetPlatformPaths(m_root.path() + '/', QString());
        m_server->add(
            "/file/stream/",
            new ResponderHandler(makeDefaultResponderFactory<FileResponder>(), "", nullptr));
    }

    void answers_data() { addRows(exchanges); }

    void answers() {
        QFETCH(QByteArrayList, fields);
        const QByteArray target = fields[1].replace("ROOT", m_root.path().toUtf8());
        QByteArray headers = fields[2].replace(";", "\r\n");
        if (!headers.isEmpty())
            headers += "\r\n";
        RawClient client(m_server->port());
        client.send(RawClient::requestBytes(fields[0], target, headers));
        const HttpReply reply = client.readReply(fields[0] == "HEAD");
        QCOMPARE(reply.status, fields[3].toInt());
        const QByteArray notFound =
            "The requested url 'http://localhost" + target + "' was not found.";
        QCOMPARE(reply.body, reply.status == 404 || reply.status == 416 ? notFound : fields[4]);
        const int colon = fields[5].indexOf(": ");
        QCOMPARE(reply.header(fields[5].left(colon)),
                 colon < 0 ? QByteArray() : fields[5].mid(colon + 2));
        // What belongs to the answer has been read: the connection goes on with the next one.
        client.send(RawClient::requestBytes("GET", "/ten.txt"));
        QCOMPARE(client.readReply().body, QByteArray("0123456789"));
    }

    void noticesChangedFiles() {
        // Of the same size, and of the same time.
        QByteArrayList tags;
        for (const auto& [content, seconds] :
             {std::pair("one", 1), std::pair("two", 2), std::pair("three", 2)}) {
            write("changing", content);
            setModificationTime(m_root.filePath("changing"), seconds);
            const QByteArray tag = RawClient::get(m_server->port(), "/changing").header("ETag");
            QVERIFY(!tags.contains(tag));
            tags << tag;
        }
    }

    void noticesChangesOfKeptFiles() {
        // One is written anew with the same size, the other one is a link, which is led elsewhere.
        const QByteArrayList names{"written", "led"};
        QVERIFY(QFile::link("target", m_root.filePath("led")));
        std::vector<std::unique_ptr<OpenWatch>> watches;
        for (const QByteArray& name : names) {
            write(name, "one");
            setModificationTime(m_root.filePath(name), 1);
            watches.push_back(std::make_unique<OpenWatch>(m_root.filePath(name)));
        }
        const auto areKept = [&] {
            bool isOpened = false;
            for (int i = 0; i < 2; ++i) {
                watches[i]->count();
                RawClient::get(m_server->port(), "/" + names[i]);
                isOpened = watches[i]->count() > 0 || isOpened;
            }
            return !isOpened;
        };
        QVERIFY(!areKept());
        QVERIFY(!areKept());
        QTRY_VERIFY_WITH_TIMEOUT(areKept(), 10000);
        const QByteArray tag = RawClient::get(m_server->port(), "/written").header("ETag");
        write("written", "two");
        setModificationTime(m_root.filePath("written"), 2);
        QVERIFY(RawClient::get(m_server->port(), "/written").header("ETag") != tag);
        QVERIFY(QFile::remove(m_root.filePath("led")));
        QVERIFY(QFile::link("../secret", m_root.filePath("led")));
        QCOMPARE(RawClient::get(m_server->port(), "/led").status, 404);
    }
};

QTEST_GUILESS_MAIN(TestStaticHandler)
#include "test_statichandler.moc"
