// SPDX-License-Identifier: MIT
#include "core/model/cmerror.h"

CMError CMError::fromMessage(const QString& message) {
    return fromName(DefaultName(), message);
}

CMError CMError::fromName(const QString& name, const QString& message) {
    CMError error;
    error.insert(Name(), name);
    error.insert(Title(), DefaultTitle());
    error.insert(Message(), message);
    return error;
}

QString CMError::Name() {
    return QStringLiteral("name");
}

QString CMError::Title() {
    return QStringLiteral("title");
}

QString CMError::Message() {
    return QStringLiteral("message");
}

QString CMError::DefaultName() {
    return QStringLiteral("Error");
}

QString CMError::DefaultTitle() {
    return QStringLiteral("Error");
}

QString CMErrorNames::workerNotFound() {
    return QStringLiteral("workerNotFound");
}

QString CMErrorNames::nodeNotFound() {
    return QStringLiteral("nodeNotFound");
}

QString CMErrorNames::notModifiable() {
    return QStringLiteral("notModifiable");
}

QString CMErrorNames::typeMismatch() {
    return QStringLiteral("typeMismatch");
}

QString CMErrorNames::outOfRange() {
    return QStringLiteral("outOfRange");
}

QString CMErrorNames::versionMismatch() {
    return QStringLiteral("versionMismatch");
}
