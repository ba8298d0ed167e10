#include "fingerprint.h"

#include <QCryptographicHash>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Enough for tags that differ, and for music that differs. Larger blocks make scans of slow disks
// slower.
constexpr int beginBytes = 4096;
constexpr int middleBytes = 16384;
constexpr int digits = 32;

void add(int file, off_t offset, int length, QCryptographicHash* hash) {
    char bytes[middleBytes];
    const ssize_t got = pread(file, bytes, size_t(length), offset);
    if (got > 0)
        hash->addData(bytes, int(got));
}

} // namespace

QByteArray fingerprint(const QByteArray& fileName) {
    const int file = open(fileName.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0)
        return {};
    struct stat status {};
    QByteArray result;
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
        QCryptographicHash hash(QCryptographicHash::Sha1);
        hash.addData(QByteArray::number(qint64(status.st_size)));
        add(file, 0, beginBytes, &hash);
        add(file, status.st_size / 2, middleBytes, &hash);
        result = hash.result().toHex().left(digits);
    }
    close(file);
    return result;
}
