// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

namespace HostLog {

// The names that setLevel() takes, for messages.
QString levelNames();

// Sends the log of all libraries and workers to standard error, from level warn upwards; with
// priorities if the journal reads it.
void setUp();

// Configures logging by a file in log4cplus' properties format instead. False, with the reason in
// `error`, when the file cannot be read or applied.
bool setUpFromFile(const QString& fileName, QString* error);

// Logs from this level upwards. False when there is no level of that name.
bool setLevel(const QString& name);

} // namespace HostLog
