#pragma once

#include <QString>
#include <QStringList>

// What the command line asks of the host.
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

    // Reads the arguments, the program's name first. False with one sentence in `error` when they
    // are wrong.
    bool parse(const QStringList& arguments, QString* error);
    static QString helpText();
};
