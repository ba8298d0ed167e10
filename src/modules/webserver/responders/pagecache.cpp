#include "responders/pagecache.h"

#include <QFile>

#include <ctime>

namespace {

// In characters of the pages' files: many times what a device's pages have, and some MiB of memory
// at most.
constexpr int maximumLength = 512 * 1024;

// File systems count the time in steps of up to two seconds, within which a file may be written
// again unseen.
constexpr time_t settledAfterSeconds = 3;

bool isSettled(const struct stat& file) {
    return file.st_ctim.tv_sec + settledAfterSeconds <= std::time(nullptr);
}

} // namespace

PageCache::Version PageCache::Version::of(const struct stat& file) {
    return {file.st_dev, file.st_ino, file.st_size, file.st_ctim};
}

bool PageCache::Version::operator==(const Version& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
}

PageCache::PageCache() : m_entries(maximumLength) {}

PageCache::PagePtr PageCache::find(const QString& fileName) {
    const Entry* const entry = m_entries.object(fileName);
    if (!entry)
        return nullptr;
    struct stat file = {};
    if (stat(QFile::encodeName(fileName).constData(), &file) == 0 &&
        Version::of(file) == entry->version)
        return entry->page;
    m_entries.remove(fileName);
    return nullptr;
}

void PageCache::keep(const QString& fileName, const struct stat& file, const PagePtr& page) {
    if (isSettled(file))
        m_entries.insert(fileName, new Entry{Version::of(file), page}, page->content.size() + 1);
}
