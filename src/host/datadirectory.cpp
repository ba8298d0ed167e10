// SPDX-License-Identifier: MIT
#include "datadirectory.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

// The web server offers no page behind a link, and in a build folder the pages are behind one.
QString dataDirectory() {
    const QString folder =
        QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/" PLIX_DATA));
    const QFileInfo pages(QFileInfo(folder + QStringLiteral("/web")).canonicalFilePath());
    return pages.exists() ? pages.path() : folder;
}
