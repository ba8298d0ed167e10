// SPDX-License-Identifier: MIT
#pragma once

#include "files/mappedfile.h"

#include <QObject>
#include <QString>

#include <memory>
#include <vector>

// Computes the MD5 digest of a file in slices, one in a turn of the event loop, so that other
// exchanges are served meanwhile. All requests for one version of a file share one object. The
// computation stops when the last reference is dropped.
class FileHash : public QObject, public std::enable_shared_from_this<FileHash> {
    Q_OBJECT

public:
    // Read in one turn of the event loop, which takes about a millisecond. A file that is not
    // larger is hashed at once.
    static constexpr size_t sliceBytes = size_t(256) * 1024;

    // The digest in hexadecimal, computed in one go; null when the file has changed meanwhile.
    static QString now(const std::shared_ptr<const MappedFile>& file);
    // The running computation for the file, or a new one.
    static std::shared_ptr<FileHash> of(const std::shared_ptr<const MappedFile>& file);
    ~FileHash() override;

    const std::shared_ptr<const MappedFile>& file() const { return m_file; }
    // In hexadecimal. Null before finished(), and when the file became shorter meanwhile. If the
    // file was written to meanwhile, the digest may belong to none of its versions.
    const QString& digest() const { return m_digest; }

Q_SIGNALS:
    // Once, from the event loop.
    void finished();

private:
    explicit FileHash(std::shared_ptr<const MappedFile> file);
    void takeTurn();
    // False when the end has been reached.
    bool hashSlice();
    // The next object of the queue gets the turns.
    void leaveQueue();

    const std::shared_ptr<const MappedFile> m_file;
    const GChecksumPtr m_checksum;
    std::vector<char> m_buffer;
    size_t m_offset = 0;
    QString m_digest;
};
