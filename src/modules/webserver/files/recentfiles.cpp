// SPDX-License-Identifier: MIT
#include "files/recentfiles.h"

#include <QFile>

#include <utility>

namespace {

// More than the files of one page. Each takes a descriptor, of which a process often has 1024.
constexpr int maxFiles = 64;
// Long enough for all requests of one page load.
constexpr guint secondsOpen = 5;

} // namespace

RecentFiles::RecentFiles() : m_entries(maxFiles) {}

RecentFiles& RecentFiles::instance() {
    static RecentFiles files;
    return files;
}

bool RecentFiles::Entry::isValid() const {
    struct stat status = {};
    return stat(name.constData(), &status) == 0 &&
           FileVersion::of(status) == file->contents->version();
}

RecentFiles::FilePtr RecentFiles::find(const QString& path, const QString& documentRoot) {
    const Entry* const entry = m_entries.object(path);
    if (!entry || entry->documentRoot != documentRoot)
        return nullptr;
    if (entry->isValid())
        return entry->file;
    m_entries.remove(path);
    return nullptr;
}

void RecentFiles::add(const QString& path, const QString& documentRoot, File file) {
    const MappedFile& contents = *file.contents;
    if (contents.size() > maxLength || !contents.version().isSettled())
        return;
    auto entry = std::make_unique<Entry>(Entry{documentRoot, QFile::encodeName(path),
                                               std::make_shared<const File>(std::move(file))});
    if (!entry->isValid())
        return;
    m_entries.insert(path, entry.release());
    if (m_timer)
        return;
    m_timer.reset(g_timeout_source_new_seconds(secondsOpen));
    g_source_set_callback(m_timer.get(), on_timeout, this, nullptr);
    g_source_attach(m_timer.get(), nullptr);
}

void RecentFiles::clear() {
    m_entries.clear();
    m_timer.reset();
}

gboolean RecentFiles::on_timeout(gpointer self) {
    static_cast<RecentFiles*>(self)->clear();
    return G_SOURCE_REMOVE;
}
