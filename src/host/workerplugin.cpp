// SPDX-License-Identifier: MIT
#include "workerplugin.h"

#include "core/model/cmabstractworker.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>

namespace {

using WorkerCreate = CMAbstractWorker* (*)(void*, const QVariantHash&);

QString find(const QString& fileName) {
    const QStringList folders = WorkerPlugin::folders();
    for (const QString& folder : folders) {
        const QString path = QDir::cleanPath(folder + QLatin1Char('/') + fileName);
        if (QFileInfo::exists(path))
            return path;
    }
    return QString();
}

} // namespace

CMAbstractWorker* WorkerPlugin::create(const QString& library, const QVariantHash& config,
                                       QString* error) {
    const QString fileName = QStringLiteral("lib%1.so").arg(library);
    const QString path = find(fileName);
    if (path.isEmpty()) {
        *error = QStringLiteral("%1: not found in %2")
                     .arg(fileName, folders().join(QStringLiteral(" or ")));
        return nullptr;
    }
    // Never unloaded: GLib types, Qt meta types and loggers of a plug-in outlive its worker.
    void* handle =
        dlopen(QFile::encodeName(path).constData(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!handle) {
        // Begins with the path.
        *error = QString::fromLocal8Bit(dlerror());
        return nullptr;
    }
    const auto create = reinterpret_cast<WorkerCreate>(dlsym(handle, "worker_create"));
    if (!create) {
        *error = QStringLiteral("%1: has no worker_create").arg(path);
        return nullptr;
    }
    CMAbstractWorker* worker = create(nullptr, config);
    if (!worker)
        *error = QStringLiteral("%1: made no worker").arg(path);
    return worker;
}

QStringList WorkerPlugin::folders() {
    const QString given = qEnvironmentVariable("PLIX_PLUGIN_DIR");
    if (!given.isEmpty())
        return {given};
    const QDir program(QCoreApplication::applicationDirPath());
    return {QDir::cleanPath(program.filePath(QStringLiteral("../lib"))),
            QDir::cleanPath(program.filePath(QStringLiteral(PLIX_INSTALLED_PLUGINS)))};
}
