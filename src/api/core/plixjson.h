// SPDX-License-Identifier: MIT
#pragma once

#include "core/plixhash.h"
#include "plixexport.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

// The parse error of PlixJson: empty when parsing succeeded.
class PlixError : public PlixHash {
public:
    using PlixHash::PlixHash;

    QString message() const { return member(QStringLiteral("message")).toString(); }
    void setMessage(const QString& message) { setMember(QStringLiteral("message"), message); }
};

// JSON text to values (plixjsonreader.cpp) and back (plixjsonwriter.cpp).
//
// Objects are QVariantHash, arrays QVariantList, strings QString, true and false bool, null an
// invalid QVariant. Whole numbers are qlonglong, or qulonglong above its range; all others are
// double.
class PLIX_EXPORT PlixJson {
public:
    // Containers may be nested this deep in a text that is parsed and in a value that is
    // serialised. Far more than any client needs, far less than would overflow the stack.
    static constexpr int maximumDepth = 512;
    // The maximum number of values in a text that is parsed, members and elements included. Each
    // takes up to 300 bytes of memory, even if its text is short.
    static constexpr int maximumValues = 100'000;
    // The maximum length of a serialised text, in bytes: more than any client reads, less than the
    // memory of a small device.
    static constexpr int maximumLength = 64 * 1024 * 1024;

    // Parses one JSON value of any kind. On failure the result is invalid and `error` holds a
    // message; `position`, when given, receives the offset (in bytes, or in UTF-16 units) of the
    // fault. Invalid UTF-8, unpaired surrogates and text behind the value are faults.
    static QVariant parse(const QByteArray& text, PlixError& error,
                          unsigned int* position = nullptr);
    static QVariant parse(const QString& text, PlixError& error, unsigned int* position = nullptr);

    // The value as compact JSON in UTF-8, members in ascending order of their names so that equal
    // values give equal bytes. Values that JSON has no form for (infinities, values nested too
    // deep, types without a text) become null, unpaired surrogates U+FFFD. Null when the text would
    // be longer than the maximum.
    static QByteArray serialize(const QVariant& value);

    // The text with everything escaped that may not stand in a JSON string as it is; without
    // surrounding quotation marks. Null when that is longer than the maximum.
    static QString escape(const QString& text);
};
