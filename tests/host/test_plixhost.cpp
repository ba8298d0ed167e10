#include "files.h"

#include <QProcess>
#include <QTcpServer>
#include <QtTest>

#include <csignal>

namespace {

// Generous for a sanitizer build on a busy machine; a test that passes never waits for it.
constexpr int limitMs = 60000;

// Without the turns of the event loop that were long because this machine was busy.
QByteArray withoutPauses(const QByteArray& log) {
    static const int limit = qEnvironmentVariable("PLIX_TURN_LIMIT_MS", "100").toInt();
    static const QRegularExpression spent("A turn of .* ms, ([0-9]+) ms of processor time");
    QByteArray rest;
    for (const QByteArray& line : log.split('\n')) {
        const auto match = spent.match(line);
        if (!line.isEmpty() && !(match.hasMatch() && match.captured(1).toInt() < limit))
            rest += line + '\n';
    }
    return rest;
}

// A plixhost of its own, with a state directory, that goes with this object.
class Device {
public:
    explicit Device(const QStringList& arguments, const QStringList& environment = {}) {
        m_process.setEnvironment(QProcess::systemEnvironment() + environment);
        m_process.start(PLIX_HOST_PROGRAM, QStringList{"--state", m_state.path()} + arguments);
        // The first that it prints is that it is ready.
        m_isReady = m_process.waitForReadyRead(limitMs);
    }

    bool isReady() const { return m_isReady; }
    // Waits for the end, which the signal, if any, is to bring: "exit status|output|errors". Null
    // when it does not end.
    QByteArray end(int signal = 0) {
        if (signal != 0)
            ::kill(pid_t(m_process.processId()), signal);
        if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(limitMs))
            return {};
        return QByteArray::number(m_process.exitCode()) + '|' + m_process.readAllStandardOutput() +
               '|' + withoutPauses(m_process.readAllStandardError());
    }

private:
    QTemporaryDir m_state;
    QProcess m_process;
    bool m_isReady;
};

void verifyRefused(const QStringList& arguments, const QByteArray& reason,
                   const QStringList& environment = {}) {
    Device device(arguments, environment);
    const QByteArray end = device.end();
    QVERIFY2(end.startsWith("2||") && end.contains(reason), end.constData());
    QCOMPARE(end.count('\n'), 1);
}

} // namespace

class TestPlixhost : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void refusesWrongArguments() {
        const QString nowhere = "/nowhere/x";
        const QPair<QStringList, const char*> rows[] = {
            {{"--colour"}, "'colour'"},
            {{"--device"}, "'--device'"},
            {{"--device", ""}, "'--device'"},
            {{"device.json"}, "'device.json'"},
            {{"--device", nowhere}, "/nowhere/x: No such file"},
            {{"--device", "/proc/version"}, "version: not valid"},
            {{"--set", "ui:/a=de"}, "--set ui:/a=de: "},
            {{"--log-level", "loud"}, "'loud'"},
            {{"--log-config", nowhere}, "/nowhere/x: No such file"},
            {{"--state", "/proc"}, "/proc: "},
            {deviceWith("plix_nowhere"), "libplix_nowhere.so: not found in "},
            {deviceWith("plix_api"), "libplix_api.so: has no worker_create"}};
        for (const auto& [arguments, reason] : rows)
            verifyRefused(arguments, reason);
        verifyRefused({}, "QT_NO_GLIB", {"QT_NO_GLIB=1"});
    }

    void endsCleanly() {
        for (const int signal : {SIGINT, SIGTERM}) {
            Device device(deviceWith("plix_settings"));
            QVERIFY(device.isReady());
            QCOMPARE(device.end(signal), QByteArray("0|ready http=0 https=0\n|"));
        }
    }

    void keepsStateToItself() {
        const QString state = m_files.filePath("new/state");
        const QStringList arguments = deviceWith("plix_settings") + QStringList{"--state", state};
        const Device device(arguments);
        QVERIFY(device.isReady());
        QCOMPARE(QFileInfo(state).permissions() & 0x77, 0);
        QVERIFY(QFileInfo(state + "/readable").isDir());
        verifyRefused(arguments, "in use");
    }

    void goesOnWhenPortIsTaken() {
        QTcpServer occupant;
        QVERIFY(occupant.listen(QHostAddress::Any));
        const QString port = QString::number(occupant.serverPort());
        Device device({"--set", "settings:/webserver/port=" + port, "--set",
                       "settings:/webserver/httpsPort=0"});
        QVERIFY(device.isReady());
        const QByteArray end = device.end(SIGTERM);
        QVERIFY2(end.startsWith("0|ready http=0 https=0\n|"), end.constData());
        QVERIFY2(end.contains(port.toUtf8()), end.constData());
    }

private:
    // The arguments for a device of this worker alone. One without a web server needs no port.
    QStringList deviceWith(const QByteArray& library) const {
        const QString file = m_files.filePath(library);
        writeFile(file, R"({"workers": [{"library": ")" + library + R"("}]})");
        return {"--device", file};
    }

    const QTemporaryDir m_files;
};

QTEST_GUILESS_MAIN(TestPlixhost)
#include "test_plixhost.moc"
