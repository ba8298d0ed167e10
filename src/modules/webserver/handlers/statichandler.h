// SPDX-License-Identifier: MIT
#pragma once

#include "files/etagcache.h"
#include "handlers/handler.h"

#include <QFileInfo>
#include <QString>

#include <memory>

// Serves the files below a document root, and nothing outside it.
//
// It maps a URL to a file name; FileServing does the rest. A file can be replaced at any time by
// renaming another one to its name. If a file is written in place while it is sent, a client may
// get old and new bytes; if it is truncated, the connection is closed.
class StaticHandler : public Handler {
    Q_OBJECT

public:
    using ETagCacheEntry = ETagCache::Entry;

    // `rootPage`: a request for the document root is redirected to this page; not when empty.
    // `urlPrefix`: removed from the request's path before the file is looked up. With an empty
    // document root every request is answered with 404.
    StaticHandler(const QString& documentRoot, const QString& rootPage, const QString& urlPrefix,
                  QObject* parent);

    void handle(Message* message) override;

    // Answers the message from the file, or from the index page of the directory; see FileServing.
    static void serveFile(const QFileInfo& file, const QString& documentRoot,
                          const QString& rootPage, Message* message, const QString& contentType);

    // From the shared cache, or computed at once, whatever the size, and cached. The tag is empty
    // when the file changes meanwhile.
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
