#pragma once

#include "handlers/handler.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QString>
#include <gio/gio.h>

// Serves the files below a document root, and nothing outside it.
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
    // `urlPrefix`: stripped from the request's path before the file is looked up.
    StaticHandler(const QString& documentRoot, const QString& rootPage, const QString& urlPrefix,
                  QObject* parent);

    void handle(Message* message) override;

    // Answers the message from the file. An empty document root allows every file; an empty
    // content type means the detected one.
    static void serveFile(const QFileInfo& file, const QString& documentRoot,
                          const QString& rootPage, Message* message, QString contentType);
    static ETagCacheEntry getCacheEntry(const QFileInfo& file, GMappedFile* mapped);
    static QString calculateETag(const QFileInfo& file, const char* data, size_t size);
    static QString getMimeType(const QFileInfo& file, const char* data, size_t size);

private:
    QDir m_documentRoot;
    QString m_rootPage;
    QString m_urlPrefix;
};
