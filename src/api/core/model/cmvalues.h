#pragma once

#include "core/plixvalue.h"

#include <QVariant>

// How the data model sees the values of its roles, which may be typed records or anything else.
namespace CMValues {

// The value within a typed record; any other value as it is.
QVariant scalar(const QVariant& value);
// The record that a value is announced as: a record as it is, a scalar as its typed record, empty
// for anything else.
PlixValue record(const QVariant& value);
// Equal in type and content. Unlike QVariant's comparison, which takes "1" for 1 and nearby reals
// for the same; the width of an integer does not matter.
bool same(const QVariant& left, const QVariant& right);
// Whether the number, if it is one, lies within the limits that are numbers; NaN does not. Exact
// over all 64-bit integers. All three may be typed records.
bool isWithin(const QVariant& value, const QVariant& minimum, const QVariant& maximum);

// About how many bytes of memory the value takes.
qint64 weight(const QVariant& value);

} // namespace CMValues
