// SPDX-License-Identifier: MIT
#include "statedirectory.h"

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace {

QString defaultPath() {
    const QString base = qEnvironmentVariable("XDG_STATE_HOME");
    // A relative path would be another folder wherever the device is started.
    if (QDir::isAbsolutePath(base))
        return base + QStringLiteral("/plix");
    return QDir::homePath() + QStringLiteral("/.local/state/plix");
}

// Makes the folder and its missing parents for the owner only.
bool makePrivate(const QString& path, QString* error) {
    errno = 0;
    const mode_t previous = umask(S_IRWXG | S_IRWXO);
    const bool made = QDir().mkpath(path);
    const int reason = errno;
    umask(previous);
    if (!made)
        *error = QStringLiteral("%1: cannot be created: %2")
                     .arg(path, QString::fromLocal8Bit(std::strerror(reason ? reason : ENOTDIR)));
    return made;
}

} // namespace

bool StateDirectory::open(const QString& path, QString* error) {
    m_path = QDir::cleanPath(QFileInfo(path.isEmpty() ? defaultPath() : path).absoluteFilePath());
    if (!makePrivate(m_path, error))
        return false;
    m_lock = std::make_unique<QLockFile>(filePath(QStringLiteral("lock")));
    // A lock becomes stale with the end of its process, not after a time.
    m_lock->setStaleLockTime(0);
    if (m_lock->tryLock(0))
        return true;
    *error = m_lock->error() == QLockFile::LockFailedError
                 ? QStringLiteral("%1: in use by another device").arg(m_path)
                 : QStringLiteral("%1: cannot be written to").arg(m_path);
    return false;
}

QString StateDirectory::filePath(const QString& name) const {
    return m_path + QLatin1Char('/') + name;
}

bool StateDirectory::makeFolder(const QString& name, QString* error) const {
    return makePrivate(filePath(name), error);
}
