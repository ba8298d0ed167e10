// SPDX-License-Identifier: MIT
#include "libraryfiles.h"

#include "core/dbglog.h"
#include "filenames.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool hasHiddenPart(const QByteArray& path) {
    return path.isEmpty() || path.startsWith('.') || path.startsWith('/') || path.contains("/.") ||
           path.contains('\0');
}

} // namespace

LibraryFiles::LibraryFiles(const QByteArray& root, const QString& links)
    : m_root(root), m_links(links) {
    if (!m_links.isEmpty())
        QDir(m_links).removeRecursively();
}

QString LibraryFiles::find(const QByteArray& path) const {
    if (m_root.isEmpty() || hasHiddenPart(path) || !FileNames::isAudio(path))
        return {};
    const QByteArray file = FileNames::canonical(m_root + '/' + path);
    struct stat status {};
    const bool isInside = !file.isEmpty() && file.startsWith(FileNames::canonical(m_root) + '/') &&
                          stat(file.constData(), &status) == 0 && S_ISREG(status.st_mode);
    return isInside ? plainName(file) : QString();
}

// Qt encodes names of files in the character set of the system, which may lack characters that
// names have, and no character set has all bytes.
QString LibraryFiles::plainName(const QByteArray& absolute) const {
    const QString text = QFile::decodeName(absolute);
    if (QFile::encodeName(text) == absolute || m_links.isEmpty())
        return text;
    const QByteArray name = QCryptographicHash::hash(absolute, QCryptographicHash::Sha1).toHex() +
                            absolute.mid(absolute.lastIndexOf('.'));
    const QString link = m_links + '/' + QString::fromLatin1(name);
    QDir().mkpath(m_links);
    if (symlink(absolute.constData(), QFile::encodeName(link).constData()) != 0 && errno != EEXIST)
        dbglog_warning("Cannot make a link in " << m_links << ": " << strerror(errno));
    return link;
}
