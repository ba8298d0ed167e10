#include "handlers/statichandler.h"
#include "rawclient.h"
#include "testdevice.h"

#include <QDir>
#include <QTest>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char etag[] = "781e5e245d69b566979b86e28d23f2c7"; // of "0123456789"
constexpr char notFound[] = "The requested url 'http://localhost%1' was not found.";

struct Row {
    const char* name;
    QByteArray method;
    QByteArray target;
    QByteArray headers;
    int status;
    QByteArray body;     // a "%1" is the target
    QByteArray expected; // "Name: value" of a header; without a value it is absent
};

const QVector<Row> rows{
    {"whole", "GET", "/ten.txt", "", 200, "0123456789", QByteArray("ETag: ") + etag},
    {"HEAD", "HEAD", "/ten.txt", "Range: bytes=0-0\r\n", 200, "", "Content-Length: 10"},
    {"HEAD has no tag", "HEAD", "/ten.txt", "", 200, "", "ETag"},
    {"POST", "POST", "/ten.txt", "If-None-Match: *\r\n", 200, "0123456789",
     "X-Robots-Tag: noindex"},
    {"PUT", "PUT", "/ten.txt", "", 405, "", "Allow: GET, HEAD, POST"},
    {"empty", "GET", "/empty", "Range: bytes=0-0\r\n", 200, "", "Content-Length: 0"},
    {"plain HTTP", "GET", "/ten.txt", "", 200, "0123456789", "Content-Security-Policy"},
    {"one byte", "GET", "/ten.txt", "Range: bytes=0-0\r\n", 206, "0",
     "Content-Range: bytes 0-0/10"},
    {"beyond", "GET", "/ten.txt", "Range: bytes=7-99\r\n", 206, "789",
     "Content-Range: bytes 7-9/10"},
    {"suffix", "GET", "/ten.txt", "Range: bytes=-99\r\n", 206, "0123456789", "Content-Length: 10"},
    {"empty suffix", "GET", "/ten.txt", "Range: bytes=-0\r\n", 416, notFound, "ETag"},
    {"outside", "GET", "/ten.txt", "Range: bytes=10-\r\n", 416, notFound, "Content-Range"},
    {"wrap", "GET", "/ten.txt", "Range: bytes=18446744073709551615-\r\n", 416, notFound, "ETag"},
    {"overlapping", "GET", "/ten.txt", "Range: bytes=0-4,3-9\r\n", 200, "0123456789",
     "Content-Range"},
    {"invalid range", "GET", "/ten.txt", "Range: bytes=4-3\r\n", 200, "0123456789",
     "Content-Range"},
    {"If-Range", "GET", "/ten.txt", QByteArray("Range: bytes=9-\r\nIf-Range: ") + etag + "\r\n",
     206, "9", "Content-Length: 1"},
    {"stale If-Range", "GET", "/ten.txt", "Range: bytes=99-\r\nIf-Range: x\r\n", 200, "0123456789",
     "Content-Range"},
    {"not modified", "GET", "/ten.txt",
     QByteArray("If-None-Match: x\r\nIf-None-Match: W/\"") + etag + "\"\r\n", 304, "",
     "Content-Length: 10"},
    {"any version", "HEAD", "/ten.txt", "If-None-Match: *\r\n", 304, "", "ETag"},
    {"other version", "GET", "/ten.txt", "If-None-Match: \"x\"\r\n", 200, "0123456789",
     "Content-Length: 10"},
    {"If-Match", "PUT", "/ten.txt", "If-Match: \"x\"\r\n", 412, "", "Content-Length: 0"},
    {"If-Match any", "GET", "/ten.txt", "If-Match: *\r\n", 200, "0123456789", "Content-Length: 10"},
    {"missing", "GET", "/%251.txt", "", 404, notFound, "Content-Type: text/plain"},
    {"slash after a file", "GET", "/ten.txt/", "", 404, notFound, "ETag"},
    {"not text", "GET", "/ten.txt%FF", "", 404, notFound, "ETag"},
    {"NUL", "GET", "/ten.txt%00.png", "", 404, notFound, "ETag"},
    {"FIFO", "GET", "/fifo", "", 404, notFound, "ETag"},
    {"doubled slash", "GET", "//sub//..//ten.txt", "", 200, "0123456789", "Content-Length: 10"},
    {"beside the root", "GET", "/..%2fwww-old/secret", "", 404, notFound, "ETag"},
    {"above the root", "GET", "/..%2f..%2f..%2f..%2f..%2fetc/passwd", "", 404, notFound, "ETag"},
    {"link to outside", "GET", "/link", "", 404, notFound, "ETag"},
    {"parent of a link", "GET", "/deep/..%2f..%2fsecret", "", 200, "inside", "Content-Length: 6"},
    {"root page", "GET", "/", "", 301, "", "Location: http://localhost/start.html"},
    {"index page", "GET", "/sub/", "", 200, "index", "Content-Type: text/html"},
    {"no index page", "GET", "/a/?q=1", "", 301, "", "Location: http://localhost/a/index.fcgi?q=1"},
    {"no slash", "GET", "/sub", "", 301, "", "Location: http://localhost/sub/"},
    {"host-like name", "GET", "//sub", "", 301, "", "Location: http://localhost//sub/"},
    {"line break", "GET", "/x%0D%0AY:%20z", "", 301, "",
     "Location: http://localhost/x%0D%0AY:%20z/"},
    {"prefix", "GET", "/ui/ten.txt", "", 200, "0123456789", "Content-Length: 10"},
    {"other prefix", "GET", "/u/ten.txt", "", 500, "", "Content-Length: 0"},
    {"root with a slash", "GET", "/slash/ten.txt", "", 200, "0123456789", "Content-Length: 10"},
    {"root behind a link", "GET", "/linked/ten.txt", "", 404, notFound, "ETag"},
    {"root of all", "GET", "/all/etc/passwd", "Range: bytes=0-4\r\n", 206,
     "root:", "Content-Length: 5"},
    {"no root", "GET", "/none/CMakeCache.txt", "", 404, notFound, "ETag"},
};

} // namespace

Q_DECLARE_METATYPE(Row)

class TestStaticHandler : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_base;
    QDir m_root{m_base.filePath("www")};
    std::unique_ptr<TestServer> m_server;

    void write(const QString& name, const QByteArray& content) const {
        QFile file(m_root.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    void add(const QString& path, const QString& root, const QString& prefix) const {
        m_server->add(path, new StaticHandler(root, "start.html", prefix, nullptr));
    }

private Q_SLOTS:
    void initTestCase() {
        for (const char* folder : {"sub", "a/b/c", "../www-old", "x\r\nY: z"})
            m_root.mkpath(folder);
        write("ten.txt", "0123456789");
        write("empty", "");
        write("sub/index.html", "index");
        write("a/secret", "inside");
        write("../secret", "outside");
        write("../www-old/secret", "outside");
        QFile::link("../secret", m_root.filePath("link"));
        QFile::link("a/b/c", m_root.filePath("deep"));
        QFile::link("www", m_base.filePath("linked"));
        QCOMPARE(mkfifo(qPrintable(m_root.filePath("fifo")), 0600), 0);

        m_server = std::make_unique<TestServer>();
        add("/", m_root.path(), "");
        add("/u", m_root.path(), "/ui");
        add("/slash/", m_root.path() + '/', "/slash/");
        add("/linked/", m_base.filePath("linked"), "/linked");
        add("/all/", "/", "/all");
        add("/none/", "", "/none");
    }

    void answers_data() {
        QTest::addColumn<Row>("row");
        for (const Row& row : rows)
            QTest::newRow(row.name) << row;
    }

    void answers() {
        QFETCH(Row, row);
        RawClient client(m_server->port());
        client.send(RawClient::requestBytes(row.method, row.target, row.headers));
        const HttpReply reply = client.readReply(row.method == "HEAD");
        QCOMPARE(reply.status, row.status);
        QCOMPARE(reply.body, row.body.replace("%1", row.target));
        const int colon = row.expected.indexOf(": ");
        QCOMPARE(reply.header(row.expected.left(colon)),
                 colon < 0 ? QByteArray() : row.expected.mid(colon + 2));
        // What belongs to the answer has been read: the connection goes on with the next one.
        client.send(RawClient::requestBytes("GET", "/ten.txt"));
        QCOMPARE(client.readReply().body, QByteArray("0123456789"));
    }

    void noticesChangedFiles() {
        // Of the same size, and of the same time.
        const QList<QPair<QByteArray, int>> versions{{"one", 1}, {"two", 2}, {"three", 2}};
        QByteArrayList tags;
        for (const auto& [content, seconds] : versions) {
            write("changing", content);
            QFile file(m_root.filePath("changing"));
            QVERIFY(file.open(QIODevice::ReadWrite));
            file.setFileTime(QDateTime::fromSecsSinceEpoch(seconds), QFile::FileModificationTime);
            const HttpReply reply = RawClient::get(m_server->port(), "/changing");
            QCOMPARE(reply.body, content);
            QVERIFY(!tags.contains(reply.header("ETag")));
            tags << reply.header("ETag");
        }
    }

    void refusesWhatItCannotOpen() {
        RawClient client(m_server->port());
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        const rlimit few{64, limit.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
        QVector<int> taken;
        while (taken.isEmpty() || taken.last() >= 0)
            taken << dup(0);
        client.send(RawClient::requestBytes("GET", "/ten.txt"));
        const HttpReply unopened = client.readReply();
        for (const int descriptor : taken)
            close(descriptor);
        setrlimit(RLIMIT_NOFILE, &limit);
        QCOMPARE(unopened.status, 500);
        QVERIFY2(unopened.body.startsWith("Error opening file: "), unopened.body.constData());

        // Root reads everything.
        QFile(m_base.path()).setPermissions(QFile::Permissions(0x5555));
        QFile(m_root.filePath("ten.txt")).setPermissions(QFile::Permissions());
        const uid_t user = getuid();
        const uid_t nobody = 65534;
        QCOMPARE(setresuid(user ? user : nobody, user ? user : nobody, user), 0);
        const HttpReply unreadable = RawClient::get(m_server->port(), "/ten.txt");
        QCOMPARE(setresuid(user, user, user), 0);
        QFile(m_root.filePath("ten.txt")).setPermissions(QFile::ReadOwner);
        QCOMPARE(unreadable.status, 403);
        QCOMPARE(unreadable.body, QByteArray("You don't have permission to access "
                                             "'http://localhost/ten.txt'."));
    }

    void upgradesRequestsOfSecurePages() {
        m_server.reset();
        TestDevice device(TestDevice::httpsNodes());
        device.writeFile("page.html", "page");
        const HttpReply reply = RawClient::get(device.httpsPort(), "/page.html", {}, true);
        QCOMPARE(reply.body, QByteArray("page"));
        QCOMPARE(reply.header("Content-Security-Policy"), QByteArray("upgrade-insecure-requests"));
    }
};

QTEST_GUILESS_MAIN(TestStaticHandler)
#include "test_statichandler.moc"
