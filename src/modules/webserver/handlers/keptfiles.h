#pragma once

#include "fileversion.h"
#include "glibptr.h"
#include "handlers/statichandler.h"
#include "truncation.h"

#include <QCache>
#include <QString>

#include <memory>

// Small files that were asked for lately, mapped: to find a file, check it, open it and map it
// takes the system longer than to send a small one.
//
// A file is found as long as its name means the version that was mapped. Everything is dropped
// every few seconds, so that a file that was deleted does not take room for long, a volume can be
// unmounted, and a folder that became a link is noticed.
class KeptFiles {
public:
    // Above this the sending counts.
    static constexpr quint64 maxLength = 65536;

    struct File {
        GMappedFilePtr mapped;
        TruncationWatch mapping;
        StaticHandler::ETagCacheEntry entry;
    };
    using FilePtr = std::shared_ptr<const File>;

    KeptFiles();

    // Null unless the file was kept for this document root, and is the same still.
    FilePtr find(const QString& path, const QString& documentRoot);
    // `name`: of the file that was mapped, without links. `before`: of what stat() said of it
    // before it was mapped.
    void keep(const QString& path, const QString& documentRoot, const QByteArray& name,
              const FileVersion& before, const FilePtr& file);

private:
    struct Entry {
        QString documentRoot;
        QByteArray requestedName;
        FileVersion version;
        FilePtr file;
    };

    static gboolean on_timeout(gpointer self);

    QCache<QString, Entry> m_entries;
    ScopedSource m_timer;
};
