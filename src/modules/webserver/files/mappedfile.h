// files/: Open files: versions, mappings, digests, tags and types.
#pragma once

#include "files/fileversion.h"
#include "glibptr.h"

#include <QByteArray>
#include <QDateTime>

#include <cstddef>
#include <memory>

// One version of one regular file, open and mapped for as long as the object lives. All readers of
// a version share one object, so that a file takes address space and a descriptor once.
//
// The mapping gives addresses only, by which a body names a part of the file. Nothing may read
// through it: a page that a truncation took away raises SIGBUS, and behind the end of a shortened
// file the rest of the last page reads as zeros. Bytes come from the descriptor.
class MappedFile {
public:
    // Null, and `error` set, when the name means no regular file or one that cannot be opened.
    // Waits for nothing, whatever the name means. The bytes of the name are the file system's.
    static std::shared_ptr<const MappedFile> open(const QByteArray& name, GError** error);
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    // Addresses, not bytes; null for an empty file.
    const char* data() const { return g_mapped_file_get_contents(m_mapping.get()); }
    size_t size() const { return static_cast<size_t>(m_version.size); }
    int descriptor() const { return m_descriptor; }
    const FileVersion& version() const { return m_version; }
    QDateTime lastModified() const;

    // Whether all bytes are still there; the file may have been renamed, deleted or written to.
    bool isIntact() const;
    // Whether it is still the version that was opened: nothing has been written to it, and no name
    // taken from it.
    bool isCurrent() const;
    // Copies bytes of the file as it is now. Fewer than asked for at its end, -1 when it cannot be
    // read.
    qint64 read(qint64 offset, char* buffer, size_t length) const;

private:
    class Registry;

    explicit MappedFile(int descriptor) : m_descriptor(descriptor) {}
    // What the system says of the file now.
    bool readStatus(struct stat* status) const;
    bool map(GError** error);

    const int m_descriptor;
    FileVersion m_version = {};
    timespec m_modified = {};
    GMappedFilePtr m_mapping;
    // Set once it is known there; outlives all files.
    std::shared_ptr<Registry> m_registry;
};
