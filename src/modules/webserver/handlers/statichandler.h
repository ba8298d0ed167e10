#pragma once

#include "handlers/handler.h"

#include <QDateTime>
#include <QFileInfo>
#include <QString>
#include <gio/gio.h>

// Serves the files below a document root, and nothing outside it.
//
// Files are mapped and sent from the mapping, which lives until libsoup has written it. A file may
// be replaced at any time by renaming another one to its name. Of one that is written in place a
// client may get old bytes and new ones; when it is truncated, the connection ends.
class StaticHandler : public Handler {
    Q_OBJECT

public:
    // What is known of one file's contents at one size and modification time.
    struct ETagCacheEntry {
        quint64 size;
        QDateTime lastModified;
        QString etag;
        QString contentType;
    };

    // `rootPage`: the page to which a request for the root folder is redirected; none when empty.
    // `urlPrefix`: stripped from the request's path before the file is looked up. An empty
    // document root serves nothing.
    StaticHandler(const QString& documentRoot, const QString& rootPage, const QString& urlPrefix,
                  QObject* parent);

    void handle(Message* message) override;

    // Answers the message from the file, or from the index page of the directory. `documentRoot`
    // is compared with the file's canonical path: a root that is itself reached through a symbolic
    // link refuses every file, an empty one allows every file. An empty content type means the
    // detected one.
    static void serveFile(const QFileInfo& file, const QString& documentRoot,
                          const QString& rootPage, Message* message, const QString& contentType);
    // The answer for a missing file, whatever the reason.
    static void sendNotFound(Message* message);

    // From a cache that all handlers share, or made of the mapped contents and cached.
    static ETagCacheEntry getCacheEntry(const QFileInfo& file, GMappedFile* mapped);
    // The MD5 digest of the contents in hexadecimal, without quotation marks; empty for a
    // directory.
    static QString calculateETag(const QFileInfo& file, const char* data, size_t size);
    static QString getMimeType(const QFileInfo& file, const char* data, size_t size);

private:
    QString m_rootPage;
    QString m_urlPrefix;
};
