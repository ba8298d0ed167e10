// SPDX-License-Identifier: MIT
#pragma once

#include "core/plixhash.h"
#include "plixexport.h"

// A typed value: a record with one member that is named for its type, {"i32_": 30}. Reading
// a member that the record does not have gives the type's zero value; setting one replaces the
// whole record, because a value has one type.
class PLIX_EXPORT PlixValue : public PlixHash {
public:
    using PlixHash::PlixHash;

    QString string_() const;
    bool bool_() const;
    // 0 when the member is no whole number within the type's range.
    qint32 i32_() const;
    qint64 i64_() const;
    double double_() const;

    void setString_(const QString& value);
    void setBool_(bool value);
    void setI32_(qint32 value);
    void setI64_(qint64 value);
    void setDouble_(double value);

    // The name of the typed member ("i32_"); null unless the record has exactly one member and it
    // is a typed one.
    QString type() const;

    // The typed record for a bare scalar: text, truth value, whole number (i32_ where it fits,
    // i64_ otherwise) or real. Empty for everything else.
    static PlixValue fromScalar(const QVariant& scalar);

    // This typed record with its value replaced by `value`, a bare scalar or a typed record.
    // Numbers are converted between the numeric types if this loses no information. Otherwise, and
    // for other types, false, and `result` is not changed.
    bool convert(const QVariant& value, PlixValue* result) const;
};

// The value as text: a string unchanged, "true" or "false", decimal integers, the shortest form of
// a real that reads back as the same number. Empty for an empty record.
PLIX_EXPORT QString plixValueToQString(const PlixValue& value);

// Reads a whole number from a JSON number or a string of decimal digits. `ok` becomes false when
// the value is anything else or does not fit into 32 bits; the result is 0 then.
PLIX_EXPORT int plixToInt(const QVariant& value, bool* ok);

Q_DECLARE_METATYPE(PlixValue)
