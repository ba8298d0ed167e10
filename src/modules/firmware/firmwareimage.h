#pragma once

#include <QByteArray>
#include <QCryptographicHash>
#include <QSaveFile>
#include <QString>

// A firmware image while it is received: hashed on the way, and in its file only when it is
// complete. Until commit() the image before it stays in place; without it nothing is left.
class FirmwareImage {
public:
    explicit FirmwareImage(const QString& fileName);

    // False when the file cannot be written; errorString() tells why.
    bool open();
    bool write(const char* data, int size);
    // Puts the image in its place, on the disk and not only in memory, which may take seconds. Can
    // be called on another thread when nothing else is called meanwhile.
    bool commit() { return m_file.commit(); }

    qint64 size() const { return m_size; }
    // Hexadecimal.
    QString sha256() const { return QString::fromLatin1(m_hash.result().toHex()); }
    QString errorString() const { return m_file.errorString(); }

    // Removes what images left behind that a crash has cut off.
    static void removeRemains(const QString& fileName);

private:
    QSaveFile m_file;
    QCryptographicHash m_hash{QCryptographicHash::Sha256};
    qint64 m_size = 0;
};
