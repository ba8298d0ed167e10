// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QVariantHash>

// The file with the persistent settings: one JSON object that maps encoded paths to values. The
// file is replaced atomically.
class SettingsStore {
public:
    explicit SettingsStore(const QString& fileName) : m_fileName(fileName) {}

    // Empty when there is no file. A file that is not valid is renamed, with a warning, so that the
    // device starts and nothing is lost.
    QVariantHash load() const;
    // With mode 0600. False, with the reason in the log, when the file cannot be written.
    bool save(const QVariantHash& values) const;

private:
    void putAside(const QString& reason) const;

    QString m_fileName;
};
