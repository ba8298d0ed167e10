// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QString>

// The header fields of a response. Names are case-insensitive. The values of repeated fields are
// joined by commas; of Content-Type the first one is used.
class HttpClientHeaders {
public:
    bool contains(const QString& name) const { return m_fields.contains(name.toLower()); }
    QString value(const QString& name, const QString& defaultValue = QString()) const {
        return m_fields.value(name.toLower(), defaultValue);
    }
    void add(const QString& name, const QString& value) {
        const QString key = name.toLower();
        QString& field = m_fields[key];
        // Two types in one value would be invalid.
        if (key == QLatin1String("content-type") && !field.isNull())
            return;
        field = field.isNull() ? value : field + QStringLiteral(", ") + value;
    }

private:
    QHash<QString, QString> m_fields;
};
