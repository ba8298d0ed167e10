#pragma once

#include <QString>
#include <QStringList>

#include <functional>

class QObject;

// How a program ended that PlixProcessHandler ran.
class PlixProcessHandlerResult {
public:
    PlixProcessHandlerResult(bool finishedOk, const QString& data)
        : m_finishedOk(finishedOk), m_data(data) {}

    // The program could be started, ended by itself within the time-out, and reported success.
    bool finishedOk() const { return m_finishedOk; }
    // Its output, standard output before standard error, decoded as UTF-8. When the program could
    // not be started or was ended at the time-out, the reason in words stands there too.
    QString getData() const { return m_data; }

private:
    bool m_finishedOk;
    QString m_data;
};

// Runs programs.
class PlixProcessHandler {
public:
    // Runs a program found through PATH, without a shell and without input, and waits for its end;
    // the event loop is blocked meanwhile. At the time-out the program is killed.
    static PlixProcessHandlerResult startSync(const QString& program, const QStringList& arguments,
                                              int timeoutMs);

    using Callback = std::function<void(const PlixProcessHandlerResult&)>;
    // The same while the event loop goes on, from which the callback gets the result. When the
    // context is destroyed before, the program is killed and nobody is told.
    static void start(const QString& program, const QStringList& arguments, int timeoutMs,
                      QObject* context, Callback callback);
};
