#pragma once

#include <QString>
#include <QVariantHash>

// The file in which settings survive the device's end: one JSON object of encoded path to value.
// The file is always whole: it is replaced in one step or not at all.
class SettingsStore {
public:
    explicit SettingsStore(const QString& fileName) : m_fileName(fileName) {}

    // Empty when there is no file yet. One that cannot be understood is put aside under another
    // name, with a warning, so that the device starts and nothing is lost.
    QVariantHash load() const;
    // Readable for its owner only. False, with the reason in the log, when it cannot be written.
    bool save(const QVariantHash& values) const;

private:
    void putAside(const QString& reason) const;

    QString m_fileName;
};
