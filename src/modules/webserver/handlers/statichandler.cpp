// SPDX-License-Identifier: MIT
#include "handlers/statichandler.h"

#include "core/dbglog.h"
#include "files/filehash.h"
#include "glibptr.h"
#include "message.h"
#include "responders/file/fileanswer.h"
#include "responders/file/fileserving.h"

#include <QDir>

StaticHandler::StaticHandler(const QString& documentRoot, const QString& rootPage,
                             const QString& urlPrefix, QObject* parent)
    : Handler(documentRoot, parent), m_rootPage(rootPage), m_urlPrefix(urlPrefix) {
    if (documentRoot.isEmpty() || !QDir(documentRoot).exists())
        dbglog_warning("StaticHandler::StaticHandler: document root (" << documentRoot
                                                                       << ") doesn't exists");
}

void StaticHandler::handle(Message* message) {
    dbglog_scopedFunction;
    QString path = message->url().path();
    if (!path.startsWith(m_urlPrefix)) {
        dbglog_error("Url: " << message->fullUri() << " does not start with " << m_urlPrefix);
        message->setStatus(500, QString());
        return;
    }
    // An empty QDir is the working directory of the host, which must not be published.
    if (documentRoot().isEmpty())
        return FileAnswer::sendNotFound(message);
    const QString root = QDir(documentRoot()).absolutePath();
    path.remove(0, m_urlPrefix.length());
    serveFile(QFileInfo(root + QLatin1Char('/') + path), root, m_rootPage, message, QString());
}

void StaticHandler::serveFile(const QFileInfo& file, const QString& documentRoot,
                              const QString& rootPage, Message* message,
                              const QString& contentType) {
    dbglog_scopedFunction;
    FileServing::serve({file, documentRoot, rootPage, contentType}, message);
}

StaticHandler::ETagCacheEntry
StaticHandler::getCacheEntry(const QFileInfo& file,
                             const std::shared_ptr<const MappedFile>& mapped) {
    dbglog_scopedFunction;
    ETagCache& cache = ETagCache::instance();
    if (const ETagCacheEntry* cached = cache.find(file, *mapped))
        return *cached;
    const QString etag = FileHash::now(mapped);
    return etag.isNull() ? ETagCacheEntry{} : cache.add(file, *mapped, etag);
}

QString StaticHandler::calculateETag(const QFileInfo& file, const char* data, size_t size) {
    dbglog_scopedFunction;
    if (file.isDir())
        return {};
    const GCharPtr digest(
        g_compute_checksum_for_data(G_CHECKSUM_MD5, reinterpret_cast<const guchar*>(data), size));
    return QString::fromLatin1(digest.get());
}

QString StaticHandler::getMimeType(const QFileInfo& file, const char* data, size_t size) {
    dbglog_scopedFunction;
    return ETagCache::guessType(file, data, size);
}
