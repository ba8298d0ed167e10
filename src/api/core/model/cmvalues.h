// SPDX-License-Identifier: MIT
#pragma once

#include "core/plixvalue.h"
#include "plixexport.h"

#include <QVariant>

// Functions on the values of roles, which may be typed records or anything else.
namespace CMValues {

// The value within a typed record; any other value as it is.
PLIX_EXPORT QVariant scalar(const QVariant& value);
// The record with which a change of the value is announced: a record unchanged, the typed record of
// a scalar, an empty one for anything else.
PLIX_EXPORT PlixValue record(const QVariant& value);
// Equal in type and content; the width of an integer does not matter. QVariant's comparison, in
// contrast, treats "1" and 1, and nearby reals, as equal.
PLIX_EXPORT bool same(const QVariant& left, const QVariant& right);
// Whether the number, if it is one, lies within the limits that are numbers; NaN does not. Exact
// over all 64-bit integers. All three may be typed records.
PLIX_EXPORT bool isWithin(const QVariant& value, const QVariant& minimum, const QVariant& maximum);

// An estimate of the memory of the value, in bytes.
PLIX_EXPORT qint64 weight(const QVariant& value);

} // namespace CMValues
