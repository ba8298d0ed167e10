#include "deviceprocess.h"

#include <QElapsedTimer>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>

#include <csignal>

namespace {

// Generous for a sanitizer build on a busy machine; a test that passes never waits for it.
constexpr int limitMs = 60000;

} // namespace

DeviceProcess::DeviceProcess() {
    m_process.setProcessEnvironment(QProcessEnvironment::systemEnvironment());
    setEnvironment(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
}

DeviceProcess::~DeviceProcess() {
    if (m_process.state() != QProcess::NotRunning)
        stop(SIGTERM);
    m_process.kill();
    m_process.waitForFinished();
}

int DeviceProcess::freePort() {
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

void DeviceProcess::setEnvironment(const QString& name, const QString& value) {
    QProcessEnvironment environment = m_process.processEnvironment();
    environment.insert(name, value);
    m_process.setProcessEnvironment(environment);
}

bool DeviceProcess::start(const QStringList& arguments) {
    static const QRegularExpression readyLine(QStringLiteral("\\Aready http=(\\d+) https=\\d+\n"));
    m_process.start(QStringLiteral(PLIX_HOST_PROGRAM),
                    QStringList{QStringLiteral("--state"), stateDirectory()} + arguments);
    QElapsedTimer elapsed;
    elapsed.start();
    while (m_process.waitForReadyRead(int(limitMs - elapsed.elapsed()))) {
        collectOutput();
        const auto match = readyLine.match(QString::fromUtf8(m_standardOutput));
        if (!match.hasMatch())
            continue;
        m_httpPort = match.captured(1).toInt();
        return true;
    }
    return false;
}

int DeviceProcess::waitForEnd() {
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(limitMs))
        return -1;
    collectOutput();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

int DeviceProcess::stop(int signal) {
    ::kill(pid_t(m_process.processId()), signal);
    return waitForEnd();
}

QByteArray DeviceProcess::get(const QByteArray& target) const {
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), quint16(m_httpPort));
    socket.write("GET " + target + " HTTP/1.0\r\nHost: localhost\r\n\r\n");
    while (socket.waitForReadyRead(limitMs)) {
    }
    return socket.readAll();
}

void DeviceProcess::collectOutput() {
    m_standardOutput += m_process.readAllStandardOutput();
    m_standardError += m_process.readAllStandardError();
}
