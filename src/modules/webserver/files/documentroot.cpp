#include "files/documentroot.h"

#include <QStringView>

bool isWithinDocumentRoot(const QString& canonicalPath, const QString& documentRoot) {
    const QLatin1Char slash('/');
    QStringView root(documentRoot);
    while (root.endsWith(slash))
        root.chop(1);
    if (!canonicalPath.startsWith(root))
        return false;
    // Nothing is left of the file system's own root and of an empty one: they hold everything.
    return root.isEmpty() || canonicalPath.size() == root.size() ||
           canonicalPath.at(static_cast<int>(root.size())) == slash;
}
