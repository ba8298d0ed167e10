#pragma once

#include <QHash>
#include <QString>

// The header fields of an answer. Names are the same in upper and lower case; the values of a
// field that came more than once are joined by commas, except that the first Content-Type counts.
class HttpClientHeaders {
public:
    bool contains(const QString& name) const { return m_fields.contains(name.toLower()); }
    QString value(const QString& name, const QString& defaultValue = QString()) const {
        return m_fields.value(name.toLower(), defaultValue);
    }
    void add(const QString& name, const QString& value) {
        const QString key = name.toLower();
        QString& field = m_fields[key];
        // It holds one type; two would be read as neither.
        if (key == QLatin1String("content-type") && !field.isNull())
            return;
        field = field.isNull() ? value : field + QStringLiteral(", ") + value;
    }

private:
    QHash<QString, QString> m_fields;
};
