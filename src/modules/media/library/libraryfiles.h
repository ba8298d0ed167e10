// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

// Finds the audio files below a folder for those who ask by name. Hidden files and links that lead
// out of the folder are not found.
class LibraryFiles {
public:
    LibraryFiles() = default;
    // `links` is a folder for links with plain names, which is emptied.
    LibraryFiles(const QByteArray& root, const QString& links);

    // The file with this path, relative to the root, under a name that can be opened by its text;
    // null when there is no such file.
    QString find(const QByteArray& path) const;

private:
    QString plainName(const QByteArray& absolute) const;

    QByteArray m_root;
    QString m_links;
};
