// SPDX-License-Identifier: MIT
#include "files/etagcache.h"

#include "core/dbglog.h"
#include "core/mimetypes.h"

#include <QFile>
#include <gio/gio.h>

#include <algorithm>
#include <vector>

namespace {

// More than the files of a user interface. An entry takes a few hundred bytes.
constexpr int maxEntries = 200;
// No signature of the system's type database needs more.
constexpr size_t guessedBytes = size_t(64) * 1024;

QString guessTypeOf(const QFileInfo& file, const MappedFile& contents) {
    std::vector<char> begin(std::min(contents.size(), guessedBytes));
    const qint64 length = contents.read(0, begin.data(), begin.size());
    return ETagCache::guessType(file, begin.data(),
                                static_cast<size_t>(std::max<qint64>(length, 0)));
}

} // namespace

ETagCache::ETagCache() : m_entries(maxEntries) {}

ETagCache& ETagCache::instance() {
    static ETagCache cache;
    return cache;
}

const ETagCache::Entry* ETagCache::find(const QFileInfo& file, const MappedFile& contents) {
    const QString key = file.absoluteFilePath();
    const Entry* cached = m_entries.object(key);
    if (cached && cached->size == contents.size() &&
        cached->lastModified == contents.lastModified()) {
        dbglog_debug("StaticHandler::getCacheEntry: matching cache entry for " << key);
        return cached;
    }
    dbglog_debug("StaticHandler::getCacheEntry: "
                 << (cached ? "outdated cache entry for " : "not found cache entry for ") << key);
    return nullptr;
}

ETagCache::Entry ETagCache::add(const QFileInfo& file, const MappedFile& contents,
                                const QString& etag) {
    const QString key = file.absoluteFilePath();
    const Entry entry{contents.size(), contents.lastModified(), etag, guessTypeOf(file, contents)};
    dbglog_debug("StaticHandler::getCacheEntry: creating new cache entry for "
                 << key << " autodetected content-type: " << entry.contentType);
    m_entries.insert(key, new Entry(entry));
    return entry;
}

QString ETagCache::guessType(const QFileInfo& file, const char* data, size_t size) {
    const QString path = file.absoluteFilePath();
    gboolean uncertain = FALSE;
    QString result;
    const GCharPtr type(g_content_type_guess(QFile::encodeName(path).constData(),
                                             reinterpret_cast<const guchar*>(data), size,
                                             &uncertain));
    if (type)
        result = QString::fromUtf8(GCharPtr(g_content_type_get_mime_type(type.get())).get());
    if (uncertain || result == MimeTypes::Text::plain()) {
        dbglog_debug("getMimeType: g_content_type_guess uncertain ("
                     << result << ") trying our extension / mimetype map");
        result = MimeTypes::URIToMimeType(path, result);
    }
    dbglog_debug("getMimeType: got " << result);
    return result;
}
