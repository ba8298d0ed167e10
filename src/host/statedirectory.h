#pragma once

#include <QLockFile>
#include <QString>

#include <memory>

// The directory in which a device keeps its state. Held by one device at a time, from open() until
// this object ends.
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
