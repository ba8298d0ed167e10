#include "firmwareimage.h"

#include <QDir>
#include <QFileInfo>

FirmwareImage::FirmwareImage(const QString& fileName) : m_file(fileName) {}

bool FirmwareImage::open() {
    return m_file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) &&
           m_file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
}

bool FirmwareImage::write(const char* data, int size) {
    if (m_file.write(data, size) != size)
        return false;
    m_hash.addData(data, size);
    m_size += size;
    return true;
}

void FirmwareImage::removeRemains(const QString& fileName) {
    const QFileInfo file(fileName);
    // The names of QSaveFile's temporary files.
    const QStringList remains = file.dir().entryList({file.fileName() + QStringLiteral(".*")});
    for (const QString& name : remains)
        file.dir().remove(name);
}
