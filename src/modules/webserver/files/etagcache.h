#pragma once

#include "files/mappedfile.h"

#include <QCache>
#include <QDateTime>
#include <QFileInfo>
#include <QString>

// What is known of the contents of the files that were asked for lately, by their names: an LRU
// cache that all handlers and responders of the process share.
class ETagCache {
public:
    // Of one file's contents at one size and modification time.
    struct Entry {
        quint64 size;
        QDateTime lastModified;
        QString etag;
        QString contentType;
    };

    static ETagCache& instance();

    // Null when nothing is known of the file in this version. Valid until something is added.
    const Entry* find(const QFileInfo& file, const MappedFile& contents);
    Entry add(const QFileInfo& file, const MappedFile& contents, const QString& etag);

    // By the name and the first bytes of the contents.
    static QString guessType(const QFileInfo& file, const char* data, size_t size);

private:
    ETagCache();

    QCache<QString, Entry> m_entries;
};
