// SPDX-License-Identifier: MIT
#include "datadirectory.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

QString dataDirectory() {
    const QString installed = QDir::cleanPath(QCoreApplication::applicationDirPath() +
                                              QStringLiteral("/" PLIX_INSTALLED_DATA));
    return QFileInfo(installed).isDir() ? installed : QStringLiteral(PLIX_SOURCE_DATA);
}
