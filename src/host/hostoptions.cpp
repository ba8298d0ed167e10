#include "hostoptions.h"

#include "hostlog.h"

#include <QCommandLineParser>

namespace {

const QString deviceOption = QStringLiteral("device");
const QString setOption = QStringLiteral("set");
const QString stateOption = QStringLiteral("state");
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
        {logLevelOption,
         QStringLiteral("Log from this level upwards: %1.").arg(HostLog::levelNames()),
         QStringLiteral("LEVEL")},
        {logConfigOption, QStringLiteral("Logging configuration in log4cplus' properties format."),
         QStringLiteral("FILE")},
        {{QStringLiteral("h"), helpOption}, QStringLiteral("Print this help.")},
        {{QStringLiteral("v"), versionOption}, QStringLiteral("Print the version.")},
    });
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
    for (const QString& option : {deviceOption, stateOption, logLevelOption, logConfigOption}) {
        if (parser.values(option).contains(QString())) {
            *error = QStringLiteral("Empty value after '--%1'.").arg(option);
            return false;
        }
    }
    deviceFiles = parser.values(deviceOption);
    overrides = parser.values(setOption);
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
