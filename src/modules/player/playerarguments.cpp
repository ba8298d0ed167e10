// SPDX-License-Identifier: MIT
#include "playerarguments.h"

#include "core/model/cmvalues.h"

#include <limits>

CMError PlayerArguments::typeMismatch(const char* message) {
    return CMError::fromName(CMErrorNames::typeMismatch(), QString::fromLatin1(message));
}

CMError PlayerArguments::outOfRange(const char* message) {
    return CMError::fromName(CMErrorNames::outOfRange(), QString::fromLatin1(message));
}

bool PlayerArguments::isBare(const QVariant& argument) {
    const QVariant value = CMValues::scalar(argument);
    return !value.isValid() || (value.userType() == QMetaType::Bool && value.toBool()) ||
           (value.userType() == QMetaType::QVariantHash && value.toHash().isEmpty());
}

QVariant PlayerArguments::member(const QVariant& argument, const QString& name) {
    return argument.toHash().value(name);
}

std::optional<QString> PlayerArguments::text(const QVariant& value) {
    const QVariant scalar = CMValues::scalar(value);
    return scalar.userType() == QMetaType::QString ? std::optional(scalar.toString())
                                                   : std::nullopt;
}

std::optional<qint64> PlayerArguments::integer(const QVariant& value) {
    const QVariant scalar = CMValues::scalar(value);
    switch (scalar.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
        return scalar.toLongLong();
    case QMetaType::ULongLong:
        // Greater than every valid value.
        return std::numeric_limits<qint64>::max();
    default:
        return std::nullopt;
    }
}

std::optional<QString> PlayerArguments::name(const QVariant& argument, const QString& name,
                                             CMError* error) {
    const std::optional<QString> value = text(member(argument, name));
    if (value && !value->isEmpty())
        return value;
    *error = CMError::fromName(CMErrorNames::typeMismatch(),
                               QStringLiteral("\"%1\" is to be a text").arg(name));
    return std::nullopt;
}

std::optional<int> PlayerArguments::index(const QVariant& argument, const QString& name, int size,
                                          CMError* error) {
    const std::optional<qint64> index = integer(member(argument, name));
    if (!index) {
        *error = CMError::fromName(CMErrorNames::typeMismatch(),
                                   QStringLiteral("\"%1\" is to be a whole number").arg(name));
        return std::nullopt;
    }
    if (*index < 0 || *index >= size) {
        *error = CMError::fromName(CMErrorNames::outOfRange(),
                                   QStringLiteral("There is no row %1").arg(*index));
        return std::nullopt;
    }
    return int(*index);
}
