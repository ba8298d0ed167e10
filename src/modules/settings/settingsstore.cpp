// SPDX-License-Identifier: MIT
#include "settingsstore.h"

#include "core/dbglog.h"
#include "core/plixjson.h"

#include <QFile>
#include <QSaveFile>

QVariantHash SettingsStore::load() const {
    QFile file(m_fileName);
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly)) {
        dbglog_warning(m_fileName << ": " << file.errorString());
        return {};
    }
    PlixError error;
    const QVariant values = PlixJson::parse(file.readAll(), error);
    if (!error.isEmpty()) {
        putAside(error.message());
        return {};
    }
    if (values.userType() != QMetaType::QVariantHash) {
        putAside(QStringLiteral("not a JSON object"));
        return {};
    }
    return values.toHash();
}

bool SettingsStore::save(const QVariantHash& values) const {
    QSaveFile file(m_fileName);
    const bool saved = file.open(QIODevice::WriteOnly) &&
                       file.setPermissions(QFile::ReadOwner | QFile::WriteOwner) &&
                       file.write(PlixJson::serialize(values)) >= 0 && file.commit();
    if (!saved)
        dbglog_error("Settings not saved: " << m_fileName << ": " << file.errorString());
    return saved;
}

void SettingsStore::putAside(const QString& reason) const {
    const QString aside = m_fileName + QStringLiteral(".damaged");
    QFile::remove(aside);
    const bool moved = QFile::rename(m_fileName, aside);
    dbglog_warning("Settings ignored: " << m_fileName << ": " << reason
                                        << (moved ? ", renamed to " + aside : QString()));
}
