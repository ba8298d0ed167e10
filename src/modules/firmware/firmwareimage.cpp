// SPDX-License-Identifier: MIT
#include "firmwareimage.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

namespace {

// The longest first line with a version.
constexpr int headBytes = 64;
constexpr int digestVersionDigits = 12;

QString versionFile(const QString& imageFile) {
    return QFileInfo(imageFile).path() + QStringLiteral("/version");
}

} // namespace

FirmwareImage::FirmwareImage(const QString& fileName) : m_file(fileName) {}

bool FirmwareImage::open() {
    return m_file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) &&
           m_file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
}

bool FirmwareImage::write(const char* data, int size) {
    if (m_file.write(data, size) != size)
        return false;
    m_hash.addData(QByteArray::fromRawData(data, size));
    m_head.append(data, std::min<int>(size, headBytes - m_head.size()));
    m_size += size;
    return true;
}

bool FirmwareImage::commit() {
    QSaveFile file(versionFile(m_file.fileName()));
    return m_file.commit() && file.open(QIODevice::WriteOnly) &&
           file.write(version().toUtf8()) >= 0 && file.commit();
}

QString FirmwareImage::version() const {
    static const QRegularExpression line(QStringLiteral("^plix-firmware ([\\w.+-]+)\n"));
    const auto match = line.match(QString::fromLatin1(m_head));
    return match.hasMatch() ? match.captured(1) : sha256().left(digestVersionDigits);
}

QString FirmwareImage::storedVersion(const QString& fileName) {
    QFile file(versionFile(fileName));
    return QFile::exists(fileName) && file.open(QIODevice::ReadOnly)
               ? QString::fromUtf8(file.readAll())
               : QString();
}

void FirmwareImage::removeRemains(const QString& fileName) {
    const QFileInfo file(fileName);
    // The names of QSaveFile's temporary files.
    const QStringList remains = file.dir().entryList({file.fileName() + QStringLiteral(".*")});
    for (const QString& name : remains)
        file.dir().remove(name);
}
