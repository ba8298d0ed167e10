// SPDX-License-Identifier: MIT
#include "responders/page/pagecache.h"

#include <QFile>

namespace {

// In characters: many times the pages of a device, and at most some MiB of memory.
constexpr int maximumPageLength = 512 * 1024;

} // namespace

PageCache::PageCache() : m_entries(maximumPageLength) {}

PageCache::PagePtr PageCache::find(const QString& fileName) {
    const Entry* const entry = m_entries.object(fileName);
    if (!entry)
        return nullptr;
    struct stat file = {};
    if (stat(QFile::encodeName(fileName).constData(), &file) == 0 &&
        FileVersion::of(file) == entry->version)
        return entry->page;
    m_entries.remove(fileName);
    return nullptr;
}

void PageCache::add(const QString& fileName, const struct stat& file, const PagePtr& page) {
    const FileVersion version = FileVersion::of(file);
    if (version.isSettled())
        m_entries.insert(fileName, new Entry{version, page}, page->content.size() + 1);
}
