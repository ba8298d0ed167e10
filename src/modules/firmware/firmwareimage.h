#pragma once

#include <QByteArray>
#include <QCryptographicHash>
#include <QSaveFile>
#include <QString>

// A firmware image that is being received. It is hashed while it is written to a temporary file,
// which commit() renames over the previous image. Without commit() the temporary file is removed.
class FirmwareImage {
public:
    explicit FirmwareImage(const QString& fileName);

    // False when the file cannot be written; see errorString().
    bool open();
    bool write(const char* data, int size);
    // Synchronises the file to the disk and renames it, which may take seconds. May be called on
    // another thread if no other function is called meanwhile.
    bool commit() { return m_file.commit(); }

    qint64 size() const { return m_size; }
    // Hexadecimal.
    QString sha256() const { return QString::fromLatin1(m_hash.result().toHex()); }
    QString errorString() const { return m_file.errorString(); }

    // Removes the temporary files that a crash has left.
    static void removeRemains(const QString& fileName);

private:
    QSaveFile m_file;
    QCryptographicHash m_hash{QCryptographicHash::Sha256};
    qint64 m_size = 0;
};
