// SPDX-License-Identifier: MIT
#include "files.h"

#include <QProcess>
#include <QTcpServer>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

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
    explicit Device(const QStringList& arguments, const QStringList& environment = {},
                    const QString& errorFile = {}) {
        m_process.setEnvironment(QProcess::systemEnvironment() + environment);
        m_process.setStandardErrorFile(errorFile);
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

    QByteArray softDescriptorLimit() const {
        const QString file = QStringLiteral("/proc/%1/limits").arg(m_process.processId());
        const QString limits = readFile(file);
        return QRegularExpression("Max open files +([0-9]+)").match(limits).captured(1).toUtf8();
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
            {logConfig("rootLogger=LOUD"), "log: Unrecognized log level: LOUD\n"},
            {logConfig("rootLogger=WARN, x"),
             "log: PropertyConfigurator::configureLogger()- Invalid"},
            {logConfig("appender.x=log4cplus::Nothing"), "log4cplus::Nothing\n"},
            {logConfig("appender.x=log4cplus::FileAppender\nlog4cplus.appender.x.File=/nowhere/x"),
             "log: Unable to open file: /nowhere/x\n"},
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

    void raisesDescriptorLimit() {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        const rlimit low{64, limit.rlim_max};
        setrlimit(RLIMIT_NOFILE, &low);
        Device device(deviceWith("plix_settings") + QStringList{"--log-level", "info"});
        setrlimit(RLIMIT_NOFILE, &limit);
        QVERIFY(device.isReady());
        QCOMPARE(device.softDescriptorLimit(), QByteArray::number(quint64(limit.rlim_max)));
        QVERIFY(device.end(SIGTERM).contains("the limit was 64\n"));
    }

    void givesPrioritiesToJournalAlone() {
        const QString log = m_files.filePath("journal");
        writeFile(log, {});
        struct stat file {};
        QCOMPARE(stat(qPrintable(log), &file), 0);
        const QString stream = QStringLiteral("JOURNAL_STREAM=%1:%2").arg(file.st_dev);
        const QPair<ino_t, const char*> rows[] = {{file.st_ino, "<6>INFO  Host: May open"},
                                                  {file.st_ino + 1, " INFO  Host: May open"}};
        for (const auto& [inode, line] : rows) {
            Device device(deviceWith("plix_settings") + QStringList{"--log-level", "info"},
                          {stream.arg(inode)}, log);
            QVERIFY(device.isReady() && !device.end(SIGTERM).isNull());
            QVERIFY2(readFile(log).contains(line), readFile(log).constData());
        }
    }

private:
    QStringList logConfig(const QByteArray& line) const {
        const QString file = m_files.filePath(QString::number(qHash(line)) + "log");
        writeFile(file, "log4cplus." + line + '\n');
        return {"--log-config", file};
    }

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
