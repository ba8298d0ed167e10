// SPDX-License-Identifier: MIT
#include "hostoptions.h"

#include "core/plixjson.h"
#include "hostlog.h"

#include <QCommandLineParser>
#include <QDir>

namespace {

const QString deviceOption = QStringLiteral("device");
const QString setOption = QStringLiteral("set");
const QString stateOption = QStringLiteral("state");
const QString musicOption = QStringLiteral("music");
const QString logLevelOption = QStringLiteral("log-level");
const QString logConfigOption = QStringLiteral("log-config");
const QString helpOption = QStringLiteral("help");
const QString versionOption = QStringLiteral("version");

void describe(QCommandLineParser* parser) {
    parser->setApplicationDescription(QStringLiteral("Runs a device: loads its workers and serves "
                                                     "them until SIGINT or SIGTERM."));
    parser->addOptions({
        {deviceOption, QStringLiteral("Device file, merged over the built-in device; repeatable."),
         QStringLiteral("FILE")},
        {setOption,
         QStringLiteral("Override a node's value: settings:/webserver/port=9000; repeatable."),
         QStringLiteral("PATH=JSON")},
        {stateOption, QStringLiteral("Directory in which the device keeps its state."),
         QStringLiteral("DIR")},
        {musicOption, QStringLiteral("Folder of one's own music: settings:/media/directory."),
         QStringLiteral("DIR")},
        {logLevelOption,
         QStringLiteral("Log from this level upwards: %1.").arg(HostLog::levelNames()),
         QStringLiteral("LEVEL")},
        {logConfigOption, QStringLiteral("Logging configuration in log4cplus' properties format."),
         QStringLiteral("FILE")},
        {{QStringLiteral("h"), helpOption}, QStringLiteral("Print this help.")},
        {{QStringLiteral("v"), versionOption}, QStringLiteral("Print the version.")},
    });
}

// The absolute path, because plug-ins need not know the working directory.
QString musicOverride(const QString& folder) {
    return QStringLiteral("settings:/media/directory=\"%1\"")
        .arg(PlixJson::escape(QDir(folder).absolutePath()));
}

} // namespace

bool HostOptions::parse(const QStringList& arguments, QString* error) {
    QCommandLineParser parser;
    describe(&parser);
    if (!parser.parse(arguments)) {
        *error = parser.errorText();
        return false;
    }
    if (!parser.positionalArguments().isEmpty()) {
        *error =
            QStringLiteral("Unexpected argument '%1'.").arg(parser.positionalArguments().first());
        return false;
    }
    for (const QString& option :
         {deviceOption, stateOption, musicOption, logLevelOption, logConfigOption}) {
        if (parser.values(option).contains(QString())) {
            *error = QStringLiteral("Empty value after '--%1'.").arg(option);
            return false;
        }
    }
    deviceFiles = parser.values(deviceOption);
    overrides = parser.values(setOption);
    if (parser.isSet(musicOption))
        overrides.append(musicOverride(parser.value(musicOption)));
    stateDirectory = parser.value(stateOption);
    logLevel = parser.value(logLevelOption);
    logConfigFile = parser.value(logConfigOption);
    help = parser.isSet(helpOption);
    version = parser.isSet(versionOption);
    return true;
}

QString HostOptions::helpText() {
    QCommandLineParser parser;
    describe(&parser);
    return parser.helpText();
}
