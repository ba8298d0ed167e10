// SPDX-License-Identifier: MIT
#include "files/documentroot.h"

#include <QStringView>

bool isWithinDocumentRoot(const QString& canonicalPath, const QString& documentRoot) {
    const QLatin1Char slash('/');
    QStringView root(documentRoot);
    while (root.endsWith(slash))
        root.chop(1);
    if (!canonicalPath.startsWith(root))
        return false;
    // "/" and an empty root are empty now. Every path lies below them.
    return root.isEmpty() || canonicalPath.size() == root.size() ||
           canonicalPath.at(static_cast<int>(root.size())) == slash;
}
