// SPDX-License-Identifier: MIT
#pragma once

#include <QLockFile>
#include <QString>

#include <memory>

// The directory with the state of a device. It is locked from open() until the destruction of this
// object, so that only one device uses it.
class StateDirectory {
public:
    // Creates the directory, readable for its owner only, if there is none. An empty path is the
    // user's default one. False with one sentence in `error` when it cannot be used.
    bool open(const QString& path, QString* error);

    // Absolute.
    const QString& path() const { return m_path; }
    QString filePath(const QString& name) const;
    // Creates a folder in it if there is none.
    bool makeFolder(const QString& name, QString* error) const;

private:
    QString m_path;
    std::unique_ptr<QLockFile> m_lock;
};
