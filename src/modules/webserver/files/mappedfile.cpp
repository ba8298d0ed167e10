// SPDX-License-Identifier: MIT
#include "files/mappedfile.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <map>
#include <unistd.h>

namespace {

void setError(GError** error, const QByteArray& name, int code) {
    g_set_error(error, G_FILE_ERROR, g_file_error_from_errno(code), "Failed to open file “%s”: %s",
                QFile::decodeName(name).toUtf8().constData(), g_strerror(code));
}

} // namespace

// The open files, by their versions.
class MappedFile::Registry {
public:
    std::shared_ptr<const MappedFile> find(const FileVersion& version) const {
        const auto found = m_files.find(version);
        return found == m_files.end() ? nullptr : found->second.lock();
    }
    void add(const std::shared_ptr<const MappedFile>& file) { m_files[file->version()] = file; }
    void remove(const FileVersion& version) {
        const auto found = m_files.find(version);
        if (found != m_files.end() && found->second.expired())
            m_files.erase(found);
    }

private:
    std::map<FileVersion, std::weak_ptr<const MappedFile>> m_files;
};

std::shared_ptr<const MappedFile> MappedFile::open(const QByteArray& name, GError** error) {
    static const auto registry = std::make_shared<Registry>();
    // Without O_NONBLOCK, opening a FIFO would wait for its writer.
    const int descriptor = ::open(name.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        setError(error, name, errno);
        return nullptr;
    }
    const std::shared_ptr<MappedFile> file(new MappedFile(descriptor));
    struct stat status = {};
    if (!file->readStatus(&status) || !S_ISREG(status.st_mode)) {
        setError(error, name, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
        return nullptr;
    }
    if (auto known = registry->find(FileVersion::of(status)))
        return known;
    file->m_version = FileVersion::of(status);
    file->m_modified = status.st_mtim;
    if (!file->map(error))
        return nullptr;
    file->m_registry = registry;
    registry->add(file);
    return file;
}

MappedFile::~MappedFile() {
    if (m_registry)
        m_registry->remove(m_version);
    ::close(m_descriptor);
}

bool MappedFile::map(GError** error) {
    m_mapping.reset(g_mapped_file_new_from_fd(m_descriptor, FALSE, error));
    if (!m_mapping)
        return false;
    // If the length has changed since fstat(), this version equals that of no file.
    m_version.size = static_cast<off_t>(g_mapped_file_get_length(m_mapping.get()));
    return true;
}

bool MappedFile::readStatus(struct stat* status) const {
    return fstat(m_descriptor, status) == 0;
}

QDateTime MappedFile::lastModified() const {
    return QDateTime::fromMSecsSinceEpoch(
        qint64(m_modified.tv_sec) * 1000 + m_modified.tv_nsec / 1'000'000, Qt::UTC);
}

bool MappedFile::isIntact() const {
    struct stat status = {};
    return readStatus(&status) && status.st_size >= m_version.size;
}

bool MappedFile::isCurrent() const {
    struct stat status = {};
    return readStatus(&status) && FileVersion::of(status) == m_version;
}

qint64 MappedFile::read(qint64 offset, char* buffer, size_t length) const {
    size_t total = 0;
    while (total < length) {
        const ssize_t count =
            pread(m_descriptor, buffer + total, length - total, offset + static_cast<off_t>(total));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && total == 0)
            return -1;
        if (count <= 0)
            break;
        total += static_cast<size_t>(count);
    }
    return static_cast<qint64>(total);
}
