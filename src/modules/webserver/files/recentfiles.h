#pragma once

#include "files/etagcache.h"
#include "files/mappedfile.h"
#include "glibptr.h"

#include <QCache>
#include <QString>

#include <memory>

// Small files that were asked for in the last seconds, open: to find a file, check it, open it and
// map it takes the system longer than to send a small one. One cache serves the whole process.
//
// A file is found as long as its name means the version that was opened. Everything is dropped
// every few seconds, so that a file that was deleted does not take room for long, a volume can be
// unmounted, and a folder that became a link is noticed.
class RecentFiles {
public:
    // Above this the sending counts.
    static constexpr size_t maxLength = 65536;

    struct File {
        std::shared_ptr<const MappedFile> contents;
        ETagCache::Entry entry;
    };
    using FilePtr = std::shared_ptr<const File>;

    static RecentFiles& instance();

    // Null unless the file was added for this document root, and is the same still.
    FilePtr find(const QString& path, const QString& documentRoot);
    // Adds nothing when the file is large, or may yet be written to without a sign of it.
    void add(const QString& path, const QString& documentRoot, File file);
    // Closes all files that nobody reads.
    void clear();

private:
    struct Entry {
        QString documentRoot;
        QByteArray name;
        FilePtr file;

        // Whether the name still means the version that was opened.
        bool isValid() const;
    };

    RecentFiles();
    static gboolean on_timeout(gpointer self);

    QCache<QString, Entry> m_entries;
    ScopedSource m_timer;
};
