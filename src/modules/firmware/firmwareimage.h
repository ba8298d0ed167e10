// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QCryptographicHash>
#include <QSaveFile>
#include <QString>

// A firmware image that is being received. It is hashed while it is written to a temporary file,
// which commit() renames over the previous image. Without commit() the temporary file is removed.
// The version of the last image that was stored is in the file "version" beside it.
class FirmwareImage {
public:
    explicit FirmwareImage(const QString& fileName);

    // False when the file cannot be written; see errorString().
    bool open();
    bool write(const char* data, int size);
    // Synchronises the file to the disk and renames it, which may take seconds, and stores its
    // version. May be called on another thread if no other function is called meanwhile.
    bool commit();

    qint64 size() const { return m_size; }
    // Hexadecimal.
    QString sha256() const { return QString::fromLatin1(m_hash.result().toHex()); }
    // What follows "plix-firmware " in the first line of the image; the first digits of its digest
    // if it begins otherwise.
    QString version() const;
    QString errorString() const { return m_file.errorString(); }

    // Of the last image that was stored; null when there is none.
    static QString storedVersion(const QString& fileName);

    // Removes the temporary files that a crash has left.
    static void removeRemains(const QString& fileName);

private:
    QSaveFile m_file;
    QByteArray m_head;
    QCryptographicHash m_hash{QCryptographicHash::Sha256};
    qint64 m_size = 0;
};
