// SPDX-License-Identifier: MIT
#include "datadirectory.h"

#include <QCoreApplication>
#include <QDir>

QString dataDirectory() {
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/" PLIX_DATA));
}
