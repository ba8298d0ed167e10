#include "handlers/keptfiles.h"

#include <QFile>

namespace {

// As many as the files whose tags are cached; 12 MiB of addresses at most, memory only as far as
// the system keeps the files anyway.
constexpr int maxFiles = 200;
// Long beside the requests of a busy moment.
constexpr guint keptSeconds = 5;

} // namespace

KeptFiles::KeptFiles() : m_entries(maxFiles) {}

KeptFiles::FilePtr KeptFiles::find(const QString& path, const QString& documentRoot) {
    const Entry* const entry = m_entries.object(path);
    if (!entry || entry->documentRoot != documentRoot)
        return nullptr;
    struct stat file = {};
    if (!entry->file->mapping.sawTruncation() &&
        stat(entry->requestedName.constData(), &file) == 0 &&
        FileVersion::of(file) == entry->version)
        return entry->file;
    m_entries.remove(path);
    return nullptr;
}

void KeptFiles::keep(const QString& path, const QString& documentRoot, const QByteArray& name,
                     const FileVersion& before, const FilePtr& file) {
    struct stat after = {};
    if (file->entry.size > maxLength || !before.isSettled() ||
        stat(name.constData(), &after) != 0 || !(FileVersion::of(after) == before))
        return;
    m_entries.insert(path, new Entry{documentRoot, QFile::encodeName(path), before, file});
    if (m_timer)
        return;
    m_timer.reset(g_timeout_source_new_seconds(keptSeconds));
    g_source_set_callback(m_timer.get(), on_timeout, this, nullptr);
    g_source_attach(m_timer.get(), nullptr);
}

gboolean KeptFiles::on_timeout(gpointer self) {
    auto* files = static_cast<KeptFiles*>(self);
    files->m_entries.clear();
    files->m_timer.reset();
    return G_SOURCE_REMOVE;
}
