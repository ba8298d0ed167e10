// SPDX-License-Identifier: MIT

// files/: Open files: versions, mappings, digests, tags and types.
#pragma once

#include "files/fileversion.h"
#include "glibptr.h"

#include <QByteArray>
#include <QDateTime>

#include <cstddef>
#include <memory>

// One version of a regular file, open and mapped while the object lives. All readers of a version
// share one object, so that a file takes address space and a descriptor once.
//
// The mapping provides addresses only: a response body refers to a part of the file by them.
// Nothing may read through the mapping, because reading a page that a truncation has removed raises
// SIGBUS, and the rest of the last page reads as zeros. Bytes are read from the descriptor.
class MappedFile {
public:
    // Null, and `error` set, when the name is not that of a regular file or the file cannot be
    // opened. Never blocks, even if the name is that of a FIFO. The name is in the encoding of the
    // file system.
    static std::shared_ptr<const MappedFile> open(const QByteArray& name, GError** error);
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    // An address that must not be read from; null for an empty file.
    const char* data() const { return g_mapped_file_get_contents(m_mapping.get()); }
    size_t size() const { return static_cast<size_t>(m_version.size); }
    int descriptor() const { return m_descriptor; }
    const FileVersion& version() const { return m_version; }
    QDateTime lastModified() const;

    // Whether the file is at least as long as it was. It may have been renamed, deleted or written
    // to.
    bool isIntact() const;
    // Whether it is still the version that was opened: not written to, renamed or deleted.
    bool isCurrent() const;
    // Reads from the file as it is now. Returns fewer bytes than `length` at its end, -1 on an
    // error.
    qint64 read(qint64 offset, char* buffer, size_t length) const;

private:
    class Registry;

    explicit MappedFile(int descriptor) : m_descriptor(descriptor) {}
    // The present status of the file.
    bool readStatus(struct stat* status) const;
    bool map(GError** error);

    const int m_descriptor;
    FileVersion m_version = {};
    timespec m_modified = {};
    GMappedFilePtr m_mapping;
    // Null until the file has been added. Shared, so that it outlives all files.
    std::shared_ptr<Registry> m_registry;
};
