// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>
#include <QVariantHash>

class CMAbstractWorker;

namespace WorkerPlugin {

// Loads the plug-in lib<library>.so and calls its entry. The caller owns the worker. Null with one
// sentence in `error` when there is no such file, it cannot be loaded or makes no worker.
CMAbstractWorker* create(const QString& library, const QVariantHash& config, QString* error);

// The folders that are searched for plug-ins, in this order. With PLIX_PLUGIN_DIR only that one;
// otherwise the folders of the build and of the installed tree, relative to the program.
QStringList folders();

} // namespace WorkerPlugin
