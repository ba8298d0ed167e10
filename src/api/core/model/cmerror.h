// SPDX-License-Identifier: MIT
#pragma once

#include "plixexport.h"

#include <QHash>
#include <QMetaType>
#include <QString>
#include <QVariant>

// The error of a data-model request: a record with three texts. An empty or missing name means
// that there is no error.
class PLIX_EXPORT CMError : public QHash<QString, QVariant> {
public:
    CMError() = default;
    // An error of the default name.
    static CMError fromMessage(const QString& message);
    static CMError fromName(const QString& name, const QString& message);

    // The keys of the record's entries.
    static QString Name();
    static QString Title();
    static QString Message();
    static QString DefaultName();
    static QString DefaultTitle();

    QString name() const { return value(Name()).toString(); }
    QString message() const { return value(Message()).toString(); }
    // There is an error.
    explicit operator bool() const { return !name().isEmpty(); }
};

// The names of the data model's own errors.
namespace CMErrorNames {
PLIX_EXPORT QString workerNotFound();
PLIX_EXPORT QString nodeNotFound();
PLIX_EXPORT QString notModifiable();
PLIX_EXPORT QString typeMismatch();
PLIX_EXPORT QString outOfRange();
PLIX_EXPORT QString versionMismatch();
} // namespace CMErrorNames

Q_DECLARE_METATYPE(CMError)
