#pragma once

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

// A plixhost of its own, with a state directory that goes with this object. Ended by the destructor
// if it still runs.
class DeviceProcess {
public:
    DeviceProcess();
    ~DeviceProcess();

    // A TCP port of the loopback interface that nobody listens on.
    static int freePort();

    QString stateDirectory() const { return m_state.path(); }
    void setEnvironment(const QString& name, const QString& value);

    // Starts the host with the state directory and these arguments, and waits for its ready line.
    // False when it ends without one.
    bool start(const QStringList& arguments);
    // Waits for the end of a host that is to end by itself; its exit status, -1 if it crashed or
    // goes on.
    int waitForEnd();
    // Sends the signal and waits for the end.
    int stop(int signal);

    int httpPort() const { return m_httpPort; }
    QByteArray standardOutput() const { return m_standardOutput; }
    // Complete once the host has ended.
    QByteArray standardError() const { return m_standardError; }

    // The bytes of the answer to a GET over HTTP.
    QByteArray get(const QByteArray& target) const;

private:
    void collectOutput();

    QTemporaryDir m_state;
    QProcess m_process;
    QByteArray m_standardOutput;
    QByteArray m_standardError;
    int m_httpPort = 0;
};
