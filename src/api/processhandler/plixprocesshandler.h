// SPDX-License-Identifier: MIT
#pragma once

#include "plixexport.h"

#include <QString>
#include <QStringList>

#include <functional>

class QObject;

// The result of a program that PlixProcessHandler has run.
class PlixProcessHandlerResult {
public:
    PlixProcessHandlerResult(bool finishedOk, const QString& data)
        : m_finishedOk(finishedOk), m_data(data) {}

    // Whether the program was started, ended within the time-out, and returned 0.
    bool finishedOk() const { return m_finishedOk; }
    // Standard output followed by standard error, decoded as UTF-8. If the program could not be
    // started or was killed at the time-out, the text contains the reason.
    QString getData() const { return m_data; }

private:
    bool m_finishedOk;
    QString m_data;
};

// Runs programs.
class PLIX_EXPORT PlixProcessHandler {
public:
    // Runs a program found through PATH, without a shell and without input, and waits for its end;
    // the event loop is blocked meanwhile. At the time-out the program is killed.
    static PlixProcessHandlerResult startSync(const QString& program, const QStringList& arguments,
                                              int timeoutMs);

    using Callback = std::function<void(const PlixProcessHandlerResult&)>;
    // The same without blocking. The callback is called from the event loop. If the context is
    // deleted before, the program is killed and there is no call.
    static void start(const QString& program, const QStringList& arguments, int timeoutMs,
                      QObject* context, Callback callback);
};
