#pragma once

#include "files/fileversion.h"
#include "responders/page/pagetemplate.h"

#include <QCache>

#include <memory>

// The template pages that were asked for lately, parsed. A page is found by its file's name, as
// long as that names the very file that was read and nothing has been written to it.
class PageCache {
public:
    using PagePtr = std::shared_ptr<const PageTemplate::Page>;

    PageCache();

    // Null when the page is not kept, or not the file's present one.
    PagePtr find(const QString& fileName);
    // `file` is what fstat() said before the page was read from it.
    void add(const QString& fileName, const struct stat& file, const PagePtr& page);

private:
    struct Entry {
        FileVersion version;
        PagePtr page;
    };

    QCache<QString, Entry> m_entries;
};
