#pragma once

#include "files/mappedfile.h"

#include <QObject>
#include <QString>

#include <memory>
#include <vector>

// The MD5 digest of a file, computed slice by slice from the event loop, so that other exchanges
// are served meanwhile. All who ask for the digest of one version share one hash; it stops when the
// last of them lets it go.
class FileHash : public QObject, public std::enable_shared_from_this<FileHash> {
    Q_OBJECT

public:
    // What one turn of the event loop reads: about a millisecond's work. A file that is no larger
    // is hashed at once.
    static constexpr size_t sliceBytes = size_t(256) * 1024;

    // The digest in hexadecimal, without giving way to anybody; null when the file has changed.
    static QString now(const std::shared_ptr<const MappedFile>& file);
    // The hash of the file that is under way, or a new one.
    static std::shared_ptr<FileHash> of(const std::shared_ptr<const MappedFile>& file);
    ~FileHash() override;

    const std::shared_ptr<const MappedFile>& file() const { return m_file; }
    // Null before finished(), and when the file became shorter meanwhile. Of a file that was
    // written to it may be that of no version.
    const QString& digest() const { return m_digest; }

Q_SIGNALS:
    // Once, from the event loop.
    void finished();

private:
    explicit FileHash(std::shared_ptr<const MappedFile> file);
    void takeTurn();
    // False when the end has been reached.
    bool hashSlice();
    // Gives the turns to the next one.
    void leaveQueue();

    const std::shared_ptr<const MappedFile> m_file;
    const GChecksumPtr m_checksum;
    std::vector<char> m_buffer;
    size_t m_offset = 0;
    QString m_digest;
};
