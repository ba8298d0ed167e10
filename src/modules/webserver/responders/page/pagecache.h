// SPDX-License-Identifier: MIT
#pragma once

#include "files/fileversion.h"
#include "responders/page/pagetemplate.h"

#include <QCache>

#include <memory>

// An LRU cache of parsed template pages. An entry is valid while the name has the version of the
// file that was read.
class PageCache {
public:
    using PagePtr = std::shared_ptr<const PageTemplate::Page>;

    PageCache();

    // Null when there is no valid entry.
    PagePtr find(const QString& fileName);
    // `file`: the status of the file before the page was read from it.
    void add(const QString& fileName, const struct stat& file, const PagePtr& page);

private:
    struct Entry {
        FileVersion version;
        PagePtr page;
    };

    QCache<QString, Entry> m_entries;
};
