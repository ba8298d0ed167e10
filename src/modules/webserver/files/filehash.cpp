// SPDX-License-Identifier: MIT
#include "files/filehash.h"

#include <QTimer>

#include <algorithm>
#include <utility>

namespace {

// In the order of the requests. Only the first one gets turns, so that a turn of the loop contains
// one slice, whatever the number of files.
std::vector<FileHash*>& queue() {
    static std::vector<FileHash*> queue;
    return queue;
}

} // namespace

FileHash::FileHash(std::shared_ptr<const MappedFile> file)
    : m_file(std::move(file)), m_checksum(g_checksum_new(G_CHECKSUM_MD5)),
      m_buffer(std::min(m_file->size(), sliceBytes)) {}

FileHash::~FileHash() {
    leaveQueue();
}

QString FileHash::now(const std::shared_ptr<const MappedFile>& file) {
    FileHash hash(file);
    while (hash.hashSlice()) {
    }
    return file->isCurrent() ? hash.m_digest : QString();
}

std::shared_ptr<FileHash> FileHash::of(const std::shared_ptr<const MappedFile>& file) {
    const auto found = std::find_if(queue().begin(), queue().end(),
                                    [&](const FileHash* hash) { return hash->m_file == file; });
    if (found != queue().end())
        return (*found)->shared_from_this();
    std::shared_ptr<FileHash> hash(new FileHash(file));
    queue().push_back(hash.get());
    if (queue().size() == 1)
        QTimer::singleShot(0, hash.get(), &FileHash::takeTurn);
    return hash;
}

void FileHash::takeTurn() {
    if (hashSlice())
        return QTimer::singleShot(0, this, &FileHash::takeTurn);
    leaveQueue();
    // The receivers drop their references: this object may be deleted now.
    Q_EMIT finished();
}

bool FileHash::hashSlice() {
    const size_t length = std::min(m_file->size() - m_offset, m_buffer.size());
    const qint64 count = m_file->read(static_cast<qint64>(m_offset), m_buffer.data(), length);
    if (count != static_cast<qint64>(length))
        return false;
    g_checksum_update(m_checksum.get(), reinterpret_cast<const guchar*>(m_buffer.data()),
                      static_cast<gssize>(length));
    m_offset += length;
    if (m_offset < m_file->size())
        return true;
    m_digest = QString::fromLatin1(g_checksum_get_string(m_checksum.get()));
    return false;
}

void FileHash::leaveQueue() {
    auto& waiting = queue();
    const auto self = std::find(waiting.begin(), waiting.end(), this);
    if (self == waiting.end())
        return;
    const bool wasFirst = self == waiting.begin();
    waiting.erase(self);
    if (wasFirst && !waiting.empty())
        QTimer::singleShot(0, waiting.front(), &FileHash::takeTurn);
}
