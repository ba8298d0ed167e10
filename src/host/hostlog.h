#pragma once

#include <QString>

namespace HostLog {

// The names that setLevel() takes, for messages.
QString levelNames();

// Sends the log of every library and worker to standard error, from warnings upwards; with
// priorities if the journal reads it.
void setUp();

// Sends it where the file in log4cplus' properties format says instead. False, with the reason in
// `error`, when the file cannot be read or something in it cannot be done.
bool setUpFromFile(const QString& fileName, QString* error);

// Logs from this level upwards. False when there is no level of that name.
bool setLevel(const QString& name);

} // namespace HostLog
