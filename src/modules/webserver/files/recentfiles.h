// SPDX-License-Identifier: MIT
#pragma once

#include "files/etagcache.h"
#include "files/mappedfile.h"
#include "glibptr.h"

#include <QCache>
#include <QString>

#include <memory>

// An LRU cache of small files that are open, shared by the whole process. To find, check, open and
// map a small file takes longer than to send it.
//
// An entry is valid while its name has the version that was opened. The whole cache is cleared
// every few seconds. A deleted file therefore takes space for seconds only, a volume can be
// unmounted, and a folder that was replaced by a link is noticed.
class RecentFiles {
public:
    // For larger files the time to open them does not matter.
    static constexpr size_t maxLength = 65536;

    struct File {
        std::shared_ptr<const MappedFile> contents;
        ETagCache::Entry entry;
    };
    using FilePtr = std::shared_ptr<const File>;

    static RecentFiles& instance();

    // Null unless the file was added for this document root and the entry is valid.
    FilePtr find(const QString& path, const QString& documentRoot);
    // Adds nothing when the file is large, or was changed so recently that another change could go
    // unnoticed.
    void add(const QString& path, const QString& documentRoot, File file);
    // Closes all files that no exchange uses.
    void clear();

private:
    struct Entry {
        QString documentRoot;
        QByteArray name;
        FilePtr file;

        // Whether the name still has the version that was opened.
        bool isValid() const;
    };

    RecentFiles();
    static gboolean on_timeout(gpointer self);

    QCache<QString, Entry> m_entries;
    ScopedSource m_timer;
};
