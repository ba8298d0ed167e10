#include "deviceprocess.h"

#include <QFileInfo>
#include <QTcpServer>
#include <QtTest>

#include <csignal>

namespace {

QStringList httpArguments(int port) {
    return {"--set", QStringLiteral("settings:/webserver/port=%1").arg(port), "--set",
            "settings:/webserver/httpsPort=0"};
}

} // namespace

class TestPlixhost : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_device = std::make_unique<DeviceProcess>(); }

    void refusesWrongArguments_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("reason");
        const auto row = [](const char* name, const QStringList& arguments,
                            const QByteArray& reason) {
            QTest::newRow(name) << arguments << reason;
        };
        const QString nowhere = "/nowhere/x";
        row("unknown option", {"--colour"}, "'colour'");
        row("missing value", {"--device"}, "'--device'");
        row("empty value", {"--device", ""}, "'--device'");
        row("stray argument", {"device.json"}, "'device.json'");
        row("missing device file", {"--device", nowhere}, "/nowhere/x: No such file");
        row("device file that is not JSON", {"--device", "/proc/version"}, "version: not valid");
        row("wrong override", {"--set", "ui:/a=de"}, "--set ui:/a=de: ");
        row("unknown log level", {"--log-level", "loud"}, "'loud'");
        row("missing log configuration", {"--log-config", nowhere}, "/nowhere/x: No such file");
        row("read-only state directory", {"--state", "/proc"}, "/proc: ");
        row("missing plug-in", deviceWith("plix_nowhere"), "libplix_nowhere.so: not found in ");
        row("no plug-in", deviceWith("plix_api"), "libplix_api.so: has no worker_create");
    }

    void refusesWrongArguments() {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, reason);
        verifyRefused(*m_device, arguments, reason);
    }

    void refusesForeignEventLoop() {
        m_device->setEnvironment("QT_NO_GLIB", "1");
        verifyRefused(*m_device, {}, "QT_NO_GLIB");
    }

    void endsCleanly() {
        for (const int signal : {SIGINT, SIGTERM}) {
            DeviceProcess device;
            QVERIFY(device.start(deviceWith("plix_settings")));
            QCOMPARE(device.stop(signal), 0);
            QCOMPARE(device.standardOutput(), QByteArray("ready http=0 https=0\n"));
            QCOMPARE(device.standardError(), QByteArray());
        }
    }

    void keepsStateToItself() {
        const QString state = m_device->stateDirectory() + "/new/state";
        const QStringList arguments = deviceWith("plix_settings") + QStringList{"--state", state};
        QVERIFY(m_device->start(arguments));
        QCOMPARE(QFileInfo(state).permissions() & 0x77, 0);
        QVERIFY(QFileInfo(state + "/readable").isDir());
        DeviceProcess second;
        verifyRefused(second, arguments, "in use");
    }

    void servesDefaultDevice() {
        const int port = DeviceProcess::freePort();
        QVERIFY(m_device->start(httpArguments(port)));
        QCOMPARE(m_device->httpPort(), port);
        const QByteArray read = "/api/getData?roles=value&path=";
        const QByteArray volume = m_device->get(read + "player:player/volume");
        QVERIFY2(volume.endsWith(R"([{"i32_":30}])"), volume.constData());
        for (const char* name : {"documentRoot", "httpsPrivateKey", "port"})
            QVERIFY(!m_device->get(read + "settings:/webserver/" + name).contains(" 200 "));
        QCOMPARE(m_device->stop(SIGTERM), 0);
    }

    void goesOnWhenPortIsTaken() {
        QTcpServer occupant;
        QVERIFY(occupant.listen(QHostAddress::Any));
        QVERIFY(m_device->start(httpArguments(occupant.serverPort())));
        QCOMPARE(m_device->httpPort(), 0);
        QCOMPARE(m_device->stop(SIGTERM), 0);
        QVERIFY(m_device->standardError().contains(QByteArray::number(occupant.serverPort())));
    }

private:
    // The arguments for a device of this worker alone. One without a web server needs no port.
    QStringList deviceWith(const QByteArray& library) const {
        QFile file(m_files.filePath(library));
        if (!file.open(QIODevice::WriteOnly) ||
            file.write(R"({"workers": [{"library": ")" + library + R"("}]})") < 0)
            qFatal("%s", qPrintable(file.errorString()));
        return {"--device", file.fileName()};
    }
    static void verifyRefused(DeviceProcess& device, const QStringList& arguments,
                              const QByteArray& reason) {
        QVERIFY(!device.start(arguments));
        QCOMPARE(device.waitForEnd(), 2);
        QCOMPARE(device.standardOutput(), QByteArray());
        QVERIFY2(device.standardError().contains(reason), device.standardError().constData());
        QCOMPARE(device.standardError().count('\n'), 1);
    }

    const QTemporaryDir m_files;
    std::unique_ptr<DeviceProcess> m_device;
};

QTEST_GUILESS_MAIN(TestPlixhost)
#include "test_plixhost.moc"
