#include "core/plixhost.h"
#include "handlers/responderhandler.h"
#include "rawclient.h"
#include "responders/fileresponder.h"
#include "responders/responderfactory.h"
#include "testdevice.h"

#include <QTest>

class TestFileResponder : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void servesTheReadableAreaOnly() {
        const QTemporaryDir base;
        for (const char* name : {"area/x.txt", "area/sub/x.txt", "beside/x.txt"})
            writeFile(base.filePath(name), "content");
        plixSetPlatformPaths(base.filePath("area/"), QString());
        TestServer server;
        server.add("/file/stream/",
                   new ResponderHandler(makeDefaultResponderFactory<FileResponder>(), "", nullptr));
        RawClient client(server.port());
        const auto get = [&](const QByteArray& path, const QByteArray& headers = {}) {
            client.send(RawClient::requestBytes("GET", "/file/stream/" + path, headers));
            return client.readReply();
        };

        const QByteArray root = QFile::encodeName(base.path());
        QCOMPARE(get(root + "/area/x.txt").body, QByteArray("content"));
        QCOMPARE(get(root + "/area/x.txt", "Range: bytes=-3\r\n").body, QByteArray("ent"));
        QCOMPARE(get(root + "/area/x.txt", "If-None-Match: *\r\n").status, 304);
        // Redirected to a name that is refused.
        QCOMPARE(get(root + "/area/sub").status, 301);
        for (const QByteArray& path :
             {QByteArray(), root + "/area/", root + "/area/none", root + "/area/sub/x.txt",
              root + "/area//x.txt", root + "/area/..%2farea/x.txt", root + "/area/x.txt%00.png",
              root + "/beside/x.txt", "%0A" + root + "/area/x.txt"}) {
            const HttpReply reply = get(path);
            QCOMPARE(reply.status, 404);
            QCOMPARE(reply.body, "The requested url 'http://localhost/file/stream/" + path +
                                     "' was not found.");
            QVERIFY(!reply.isChunked());
        }
    }
};

QTEST_GUILESS_MAIN(TestFileResponder)
#include "test_fileresponder.moc"
