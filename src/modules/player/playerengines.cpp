// SPDX-License-Identifier: MIT
#include "playerengines.h"

#include "clockengine.h"
#include "core/dbglog.h"
#include "core/model/cmroot.h"
#include "processengine.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

namespace {

const QString clockName = QStringLiteral("clock");

QString setting(const QString& path, const QString& otherwise) {
    const PlixValue value(CMRoot()->getValue(CMPath::fromEncoded(path)).toHash());
    return value.string_().isEmpty() ? otherwise : value.string_();
}

// In a build folder beside the host program, otherwise where it is installed.
QString playbackProgram() {
    const QString folder = QCoreApplication::applicationDirPath();
    const QString name = QStringLiteral("/plix-playback");
    return QFile::exists(folder + name)
               ? folder + name
               : QDir::cleanPath(folder + QStringLiteral("/" PLIX_INSTALLED_PROGRAMS) + name);
}

} // namespace

std::unique_ptr<PlayerEngine> makePlayerEngine(const QString& stateDirectory) {
    const QString engine = setting(QStringLiteral("settings:/player/engine"), clockName);
    if (engine == QLatin1String("gstreamer"))
        return std::make_unique<ProcessEngine>(
            playbackProgram(),
            setting(QStringLiteral("settings:/player/output"), QStringLiteral("autoaudiosink")),
            stateDirectory);
    if (engine != clockName)
        dbglog_warning("There is no engine \"" << engine << "\", the player has no sound");
    return std::make_unique<ClockEngine>();
}
