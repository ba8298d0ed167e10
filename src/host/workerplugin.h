#pragma once

#include <QString>
#include <QStringList>
#include <QVariantHash>

class CMAbstractWorker;

namespace WorkerPlugin {

// Loads the plug-in lib<library>.so and calls its entry. The caller owns the worker. Null with one
// sentence in `error` when there is no such file, it cannot be loaded or makes no worker.
CMAbstractWorker* create(const QString& library, const QVariantHash& config, QString* error);

// The folders in which plug-ins are looked for, in this order: what PLIX_PLUGIN_DIR names, nothing
// else; without it the build's and the installed tree's folder, both relative to the program.
QStringList folders();

} // namespace WorkerPlugin
