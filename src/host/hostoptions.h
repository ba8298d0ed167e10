// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

// The options of the command line.
struct HostOptions {
    QStringList deviceFiles;
    QStringList overrides;
    // Empty: the user's default state directory.
    QString stateDirectory;
    // Empty: the default level.
    QString logLevel;
    // Empty: log to standard error.
    QString logConfigFile;
    bool help = false;
    bool version = false;

    // Parses the arguments, of which the first is the program's name. False with one sentence in
    // `error` when they are not valid.
    bool parse(const QStringList& arguments, QString* error);
    static QString helpText();
};
