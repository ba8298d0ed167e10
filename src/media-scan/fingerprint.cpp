// SPDX-License-Identifier: MIT
#include "fingerprint.h"

#include <QCryptographicHash>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Of the beginning, with the tags, and of the middle, with the music: a page of memory, because
// what is hashed takes a good part of a scan.
constexpr int blockBytes = 4096;

void add(int file, off_t offset, QCryptographicHash* hash) {
    char bytes[blockBytes];
    const ssize_t got = pread(file, bytes, sizeof bytes, offset);
    if (got > 0)
        hash->addData(QByteArray::fromRawData(bytes, int(got)));
}

} // namespace

QByteArray fingerprint(const QByteArray& fileName) {
    const int file = open(fileName.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0)
        return {};
    struct stat status {};
    QByteArray result;
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
        // Nobody gains anything from two files that are taken for one.
        QCryptographicHash hash(QCryptographicHash::Md5);
        hash.addData(QByteArray::number(qint64(status.st_size)));
        add(file, 0, &hash);
        add(file, status.st_size / 2, &hash);
        result = hash.result().toHex();
    }
    close(file);
    return result;
}
