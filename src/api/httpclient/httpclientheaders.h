#pragma once

#include <QHash>
#include <QString>

// The header fields of an answer. Names are the same in upper and lower case; the values of a
// field that came more than once are joined by commas.
class HttpClientHeaders {
public:
    bool contains(const QString& name) const { return m_fields.contains(name.toLower()); }
    QString value(const QString& name, const QString& defaultValue = QString()) const {
        return m_fields.value(name.toLower(), defaultValue);
    }
    void add(const QString& name, const QString& value) {
        QString& field = m_fields[name.toLower()];
        field = field.isNull() ? value : field + QStringLiteral(", ") + value;
    }

private:
    QHash<QString, QString> m_fields;
};
