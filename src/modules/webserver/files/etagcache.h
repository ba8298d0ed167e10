// SPDX-License-Identifier: MIT
#pragma once

#include "files/mappedfile.h"

#include <QCache>
#include <QDateTime>
#include <QFileInfo>
#include <QString>

// An LRU cache of the tags and types of files, by their names. All handlers and responders of the
// process share it. An entry is valid while the file has the same size and modification time.
class ETagCache {
public:
    struct Entry {
        quint64 size;
        QDateTime lastModified;
        QString etag;
        QString contentType;
    };

    static ETagCache& instance();

    // Null when there is no valid entry. The pointer is valid until the next call of add().
    const Entry* find(const QFileInfo& file, const MappedFile& contents);
    Entry add(const QFileInfo& file, const MappedFile& contents, const QString& etag);

    // The MIME type, by the name and the first bytes of the contents.
    static QString guessType(const QFileInfo& file, const char* data, size_t size);

private:
    ETagCache();

    QCache<QString, Entry> m_entries;
};
