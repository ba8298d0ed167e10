#pragma once

#include "files/etagcache.h"
#include "handlers/handler.h"

#include <QFileInfo>
#include <QString>

#include <memory>

// Serves the files below a document root, and nothing outside it.
//
// Finds the file that a URL means; all else is done by FileServing. A file may be replaced at any
// time by renaming another one to its name. Of one that is written in place a client may get old
// bytes and new ones; when it is truncated, the connection ends.
class StaticHandler : public Handler {
    Q_OBJECT

public:
    using ETagCacheEntry = ETagCache::Entry;

    // `rootPage`: the page to which a request for the root folder is redirected; none when empty.
    // `urlPrefix`: stripped from the request's path before the file is looked up. An empty
    // document root serves nothing.
    StaticHandler(const QString& documentRoot, const QString& rootPage, const QString& urlPrefix,
                  QObject* parent);

    void handle(Message* message) override;

    // Answers the message from the file, or from the index page of the directory; see FileServing.
    static void serveFile(const QFileInfo& file, const QString& documentRoot,
                          const QString& rootPage, Message* message, const QString& contentType);

    // From the cache that all handlers share, or made of the file's contents at once, however large
    // they are, and cached. Without a tag when they change meanwhile.
    static ETagCacheEntry getCacheEntry(const QFileInfo& file,
                                        const std::shared_ptr<const MappedFile>& mapped);
    // The MD5 digest of the contents in hexadecimal, without quotation marks; empty for a
    // directory.
    static QString calculateETag(const QFileInfo& file, const char* data, size_t size);
    static QString getMimeType(const QFileInfo& file, const char* data, size_t size);

private:
    QString m_rootPage;
    QString m_urlPrefix;
};
