// SPDX-License-Identifier: MIT
#include "responders/file/filelookup.h"

#include "core/dbglog.h"
#include "files/documentroot.h"

namespace {

FileLookup redirect(const QFileInfo& folder, const QString& path) {
    return {FileLookup::Redirect, folder, {}, path, nullptr};
}

// Why a file counts as missing; null when it does not.
const char* reasonToHide(const QFileInfo& file, const QString& canonical,
                         const QString& documentRoot) {
    if (canonical.isEmpty() || !file.exists())
        return "non-existent";
    if (!isWithinDocumentRoot(canonical, documentRoot))
        return "out-of-document-root";
    // Opening a device may do anything.
    if (!file.isFile() && !file.isDir())
        return "non-regular";
    return nullptr;
}

bool hasParentComponent(const QString& path) {
    return path.contains(QLatin1String("/../")) || path.endsWith(QLatin1String("/.."));
}

// The name without links and "..". Empty when there is no such file.
QString canonicalName(const QFileInfo& file, const QString& documentRoot) {
    // The system's functions take a name to end at a NUL: the file that is opened would be another
    // one than the file whose name was checked.
    if (file.filePath().contains(QChar::Null))
        return {};
    // Resolving links costs a system call for every folder above. Without a root it is not needed.
    if (documentRoot.isEmpty() && !hasParentComponent(file.filePath()))
        return file.filePath();
    return file.canonicalFilePath();
}

} // namespace

FileLookup FileLookup::find(const QFileInfo& file, const QString& documentRoot,
                            const QString& rootPage, const QString& urlPath) {
    const QString canonical = ::canonicalName(file, documentRoot);
    if (const char* reason = reasonToHide(file, canonical, documentRoot))
        return {Missing, file, {}, {}, reason};
    if (!file.isReadable())
        return {Forbidden, file, {}, {}, nullptr};
    // QFileInfo::absoluteFilePath() drops ".." with the name before it; the system goes to the
    // parent of what that name links to. Without ".." both mean the same file.
    if (hasParentComponent(file.filePath()))
        return find(QFileInfo(canonical), documentRoot, rootPage, urlPath);
    if (!file.isDir())
        return {Found, file, canonical, {}, nullptr};

    dbglog_debug("StaticHandler::serveFile: url is dir, serving index file:");
    if (!urlPath.endsWith(QLatin1Char('/')))
        return redirect(file, urlPath + QLatin1Char('/'));
    if (canonical == documentRoot && !rootPage.isEmpty())
        return redirect(file, urlPath + rootPage);
    const QFileInfo index(file.absoluteFilePath() + QLatin1String("/index.html"));
    if (index.exists())
        return find(index, documentRoot, rootPage, urlPath);
    return redirect(file, urlPath + QLatin1String("index.fcgi"));
}
