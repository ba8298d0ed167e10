#include "deviceprocess.h"

#include <QFileInfo>
#include <QTcpServer>
#include <QtTest>

#include <csignal>

namespace {

// A device without a web server, which needs no port.
const QByteArray quietDevice = R"({"workers": [{"library": "plix_settings"}]})";

QStringList httpArguments(int port) {
    return {"--set", QStringLiteral("settings:/webserver/port=%1").arg(port), "--set",
            "settings:/webserver/httpsPort=0"};
}

} // namespace

class TestPlixhost : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void refusesWrongArguments_data();
    void refusesWrongArguments();
    void refusesPluginThatCannotBeLoaded_data();
    void refusesPluginThatCannotBeLoaded();
    void refusesForeignEventLoop();
    void endsCleanly_data();
    void endsCleanly();
    void keepsStateToItself();
    void servesDefaultDevice();
    void goesOnWhenPortIsTaken();
    void servesHttpWithoutOpenssl();
};

void TestPlixhost::refusesWrongArguments_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("reason");
    const auto row = [](const char* name, const QStringList& arguments, const char* reason) {
        QTest::newRow(name) << arguments << QByteArray(reason);
    };
    row("unknown option", {"--colour"}, "'colour'");
    row("missing value", {"--device"}, "'--device'");
    row("empty value", {"--device", ""}, "'--device'");
    row("stray argument", {"device.json"}, "'device.json'");
    row("missing device file", {"--device", "/nowhere/x.json"}, "/nowhere/x.json: No such file");
    row("folder as device file", {"--device", "/tmp"}, "/tmp: ");
    row("device file that is not JSON", {"--device", "/proc/version"}, "/proc/version: not valid");
    row("wrong override", {"--set", "settings:/ui/language=de"},
        "--set settings:/ui/language=de: ");
    row("unknown log level", {"--log-level", "loud"}, "'loud'");
    row("missing log configuration", {"--log-config", "/nowhere/x"}, "/nowhere/x: No such file");
    row("state directory below a file", {"--state", "/proc/version/x"}, "/proc/version/x: ");
    row("state directory that is read-only", {"--state", "/proc"}, "/proc: ");
}

void TestPlixhost::refusesWrongArguments() {
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, reason);
    DeviceProcess device;
    QVERIFY(!device.start(arguments));
    QCOMPARE(device.waitForEnd(), 2);
    QCOMPARE(device.standardOutput(), QByteArray());
    QVERIFY2(device.standardError().contains(reason), device.standardError().constData());
    QCOMPARE(device.standardError().count('\n'), 1);
}

void TestPlixhost::refusesPluginThatCannotBeLoaded_data() {
    QTest::addColumn<QByteArray>("library");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("missing") << QByteArray("plix_nowhere")
                             << QByteArray("libplix_nowhere.so: not found in ");
    QTest::newRow("no plug-in") << QByteArray("plix_api")
                                << QByteArray("libplix_api.so: has no worker_create");
}

void TestPlixhost::refusesPluginThatCannotBeLoaded() {
    QFETCH(QByteArray, library);
    QFETCH(QByteArray, reason);
    DeviceProcess device;
    const QString file =
        device.writeFile("wrong.json", R"({"workers": [{"library": ")" + library + R"("}]})");
    QVERIFY(!device.start({"--device", file}));
    QCOMPARE(device.waitForEnd(), 2);
    QVERIFY2(device.standardError().contains(reason), device.standardError().constData());
    QCOMPARE(device.standardError().count('\n'), 1);
}

void TestPlixhost::refusesForeignEventLoop() {
    DeviceProcess device;
    device.setEnvironment("QT_NO_GLIB", "1");
    QVERIFY(!device.start({}));
    QCOMPARE(device.waitForEnd(), 2);
    QVERIFY(device.standardError().contains("QT_NO_GLIB"));
}

void TestPlixhost::endsCleanly_data() {
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
}

void TestPlixhost::endsCleanly() {
    QFETCH(int, signal);
    DeviceProcess device;
    QVERIFY(device.start({"--device", device.writeFile("quiet.json", quietDevice)}));
    QCOMPARE(device.stop(signal), 0);
    QCOMPARE(device.standardOutput(), QByteArray("ready http=0 https=0\n"));
    QCOMPARE(device.standardError(), QByteArray());
}

void TestPlixhost::keepsStateToItself() {
    DeviceProcess device;
    const QString state = device.stateDirectory() + "/new/state";
    const QStringList arguments{"--device", device.writeFile("quiet.json", quietDevice), "--state",
                                state};
    QVERIFY(device.start(arguments));
    const QFile::Permissions others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup |
                                      QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
    QVERIFY(!(QFileInfo(state).permissions() & others));
    QVERIFY(QFileInfo(state + "/readable").isDir());

    DeviceProcess second;
    QVERIFY(!second.start(arguments));
    QCOMPARE(second.waitForEnd(), 2);
    QVERIFY(second.standardError().contains("in use"));
}

void TestPlixhost::servesDefaultDevice() {
    DeviceProcess device;
    const int port = DeviceProcess::freePort();
    QVERIFY(device.start(httpArguments(port)));
    QCOMPARE(device.httpPort(), port);
    QCOMPARE(device.httpsPort(), 0);
    const QByteArray volume =
        device.get("/api/getData?path=player:player/volume&roles=title,value");
    QVERIFY2(volume.endsWith(R"(["Volume",{"i32_":30}])"), volume.constData());
    for (const char* name : {"documentRoot", "httpsPrivateKey", "port"}) {
        const QByteArray answer = device.get(QByteArray("/api/getData?path=settings:/webserver/") +
                                             name + "&roles=value");
        QVERIFY2(!answer.startsWith("HTTP/1.0 200"), answer.constData());
    }
    QCOMPARE(device.stop(SIGTERM), 0);
}

void TestPlixhost::goesOnWhenPortIsTaken() {
    QTcpServer occupant;
    QVERIFY(occupant.listen(QHostAddress::Any));
    DeviceProcess device;
    QVERIFY(device.start(httpArguments(occupant.serverPort())));
    QCOMPARE(device.httpPort(), 0);
    QCOMPARE(device.stop(SIGTERM), 0);
    QVERIFY2(device.standardError().contains(QByteArray::number(occupant.serverPort())),
             device.standardError().constData());
}

void TestPlixhost::servesHttpWithoutOpenssl() {
    DeviceProcess device;
    device.setEnvironment("PATH", "/nonexistent");
    const int port = DeviceProcess::freePort();
    QVERIFY(device.start({"--set", QStringLiteral("settings:/webserver/port=%1").arg(port)}));
    QCOMPARE(device.httpPort(), port);
    QCOMPARE(device.httpsPort(), 0);
    QCOMPARE(device.stop(SIGTERM), 0);
    QVERIFY2(device.standardError().contains("openssl"), device.standardError().constData());
    QCOMPARE(device.standardError().count('\n'), 1);
}

QTEST_GUILESS_MAIN(TestPlixhost)
#include "test_plixhost.moc"
