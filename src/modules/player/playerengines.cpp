#include "playerengines.h"

#include "clockengine.h"
#include "core/dbglog.h"
#include "core/model/cmroot.h"
#include "processengine.h"

#include <QCoreApplication>

namespace {

const QString clockName = QStringLiteral("clock");

QString setting(const QString& path, const QString& otherwise) {
    const PlixValue value(CMRoot()->getValue(CMPath::fromEncoded(path)).toHash());
    return value.string_().isEmpty() ? otherwise : value.string_();
}

} // namespace

std::unique_ptr<PlayerEngine> makePlayerEngine(const QString& stateDirectory) {
    const QString engine = setting(QStringLiteral("settings:/player/engine"), clockName);
    if (engine == QLatin1String("gstreamer"))
        return std::make_unique<ProcessEngine>(
            QCoreApplication::applicationDirPath() + QStringLiteral("/plix-playback"),
            setting(QStringLiteral("settings:/player/output"), QStringLiteral("autoaudiosink")),
            stateDirectory);
    if (engine != clockName)
        dbglog_warning("There is no engine \"" << engine << "\", the player has no sound");
    return std::make_unique<ClockEngine>();
}
