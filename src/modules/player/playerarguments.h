// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmerror.h"

#include <QVariant>

#include <optional>

// Parses the values that clients write to the player's nodes: JSON values or typed records.
namespace PlayerArguments {

CMError typeMismatch(const char* message);
CMError outOfRange(const char* message);

// Whether the argument is null, true or an empty object.
bool isBare(const QVariant& argument);
// The member of an object; invalid when the argument is no object or has no such member.
QVariant member(const QVariant& argument, const QString& name);
// Empty when the value is no text.
std::optional<QString> text(const QVariant& value);
// Empty when the value is no whole number.
std::optional<qint64> integer(const QVariant& value);
// The member as a text that is not empty. Empty, with the error set, when it is none.
std::optional<QString> name(const QVariant& argument, const QString& name, CMError* error);
// The member as a position in a list of `size` rows. Empty, with the error set, when it is no whole
// number or lies outside.
std::optional<int> index(const QVariant& argument, const QString& name, int size, CMError* error);

} // namespace PlayerArguments
