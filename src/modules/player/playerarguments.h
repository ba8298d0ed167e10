#pragma once

#include "core/model/cmerror.h"

#include <QVariant>

#include <optional>

// What clients write to the player's nodes, as JSON values or typed records.
namespace PlayerArguments {

// Nothing in particular: null, true, or an empty object.
bool isBare(const QVariant& argument);
// The member of an object; invalid when the argument is none or does not have it.
QVariant member(const QVariant& argument, const QString& name);
// Empty when the value is no text.
std::optional<QString> text(const QVariant& value);
// Empty when the value is no whole number.
std::optional<qint64> integer(const QVariant& value);
// The member as a position in a list of `size` rows. Empty, with the error set, when it is no whole
// number or lies outside.
std::optional<int> index(const QVariant& argument, const QString& name, int size, CMError* error);

} // namespace PlayerArguments
