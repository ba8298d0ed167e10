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
    void answers_data() {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QByteArray>("headers");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        const QByteArray none;
        QTest::newRow("file") << QByteArray("/area/x.txt") << none << 200 << QByteArray("content");
        QTest::newRow("range") << QByteArray("/area/x.txt") << QByteArray("Range: bytes=-3\r\n")
                               << 206 << QByteArray("ent");
        QTest::newRow("not modified")
            << QByteArray("/area/x.txt") << QByteArray("If-None-Match: *\r\n") << 304 << none;
        for (const QByteArray name :
             {"", "/area/", "/area/none", "/area/sub/x.txt", "/area//x.txt", "/area/x.txt%00.png",
              "/area/..%2farea/x.txt", "/beside/x.txt", "%0A/area/x.txt"})
            QTest::newRow(("refused: " + name).constData())
                << name << none << 404 << QByteArray("not found");
        // Redirected to a name that is refused.
        QTest::newRow("directory") << QByteArray("/area/sub") << none << 301 << none;
    }

    void answers() {
        QFETCH(QByteArray, name);
        QFETCH(QByteArray, headers);
        QFETCH(QByteArray, body);
        const QTemporaryDir base;
        for (const QString folder : {"area", "area/sub", "beside"}) {
            QDir(base.path()).mkdir(folder);
            QFile file(base.filePath(folder + "/x.txt"));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("content");
        }
        plixSetPlatformPaths(base.filePath("area/"), QString());
        TestServer server;
        server.add("/file/stream/",
                   new ResponderHandler(makeDefaultResponderFactory<FileResponder>(), "", nullptr));

        const QByteArray path = name.isEmpty() ? name : QFile::encodeName(base.path()) + name;
        const QByteArray target = "/file/stream/" + path;
        if (body == "not found")
            body = "The requested url 'http://localhost" + target + "' was not found.";
        RawClient client(server.port());
        for (int i = 0; i < 2; ++i) {
            client.send(RawClient::requestBytes("GET", target, headers));
            const HttpReply reply = client.readReply();
            QTEST(reply.status, "status");
            QCOMPARE(reply.body, body);
            QVERIFY(!reply.isChunked());
        }
    }
};

QTEST_GUILESS_MAIN(TestFileResponder)
#include "test_fileresponder.moc"
