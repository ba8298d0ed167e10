// SPDX-License-Identifier: MIT
#include "core/plixvalue.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace {

QString stringName() {
    return QStringLiteral("string_");
}

QString boolName() {
    return QStringLiteral("bool_");
}

QString i32Name() {
    return QStringLiteral("i32_");
}

QString i64Name() {
    return QStringLiteral("i64_");
}

QString doubleName() {
    return QStringLiteral("double_");
}

// 2^63, the first double above the range of qint64.
constexpr double firstAboveI64 = 9223372036854775808.0;

bool wholeToI64(double number, qint64* result) {
    if (!(number >= -firstAboveI64 && number < firstAboveI64) || number != std::trunc(number))
        return false;
    *result = static_cast<qint64>(number);
    return true;
}

// Converts a number to a 64-bit integer. False when it is no number, not whole or out of range. The
// conversions of QVariant truncate and wrap silently, and accept booleans and texts.
bool toI64(const QVariant& value, qint64* result) {
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::Long:
    case QMetaType::Short:
    case QMetaType::UShort:
        *result = value.toLongLong();
        return true;
    case QMetaType::ULongLong:
    case QMetaType::ULong:
        if (value.toULongLong() > quint64(std::numeric_limits<qint64>::max()))
            return false;
        *result = value.toLongLong();
        return true;
    case QMetaType::Double:
    case QMetaType::Float:
        return wholeToI64(value.toDouble(), result);
    default:
        return false;
    }
}

bool toI32(const QVariant& value, qint32* result) {
    qint64 number = 0;
    if (!toI64(value, &number) || number != static_cast<qint32>(number))
        return false;
    *result = static_cast<qint32>(number);
    return true;
}

// Converts a number to a double. False when it is no number, or an integer that a double cannot
// represent.
bool toDouble(const QVariant& value, double* result) {
    if (value.userType() == QMetaType::Double || value.userType() == QMetaType::Float) {
        *result = value.toDouble();
        return true;
    }
    qint64 number = 0;
    qint64 back = 0;
    if (!toI64(value, &number) || !wholeToI64(static_cast<double>(number), &back) || back != number)
        return false;
    *result = static_cast<double>(number);
    return true;
}

// The values of the typed members; the type's zero value for a value of another type.

QString textOf(const QVariant& value) {
    return value.userType() == QMetaType::QString ? value.toString() : QString();
}

bool truthOf(const QVariant& value) {
    return value.userType() == QMetaType::Bool && value.toBool();
}

qint32 i32Of(const QVariant& value) {
    qint32 number = 0;
    toI32(value, &number);
    return number;
}

qint64 i64Of(const QVariant& value) {
    qint64 number = 0;
    toI64(value, &number);
    return number;
}

double realOf(const QVariant& value) {
    double number = 0;
    toDouble(value, &number);
    return number;
}

// Makes the record of the named type with the scalar as its value. False when the scalar has
// another type or the conversion would lose information.
bool makeRecord(const QString& type, const QVariant& scalar, PlixValue* result) {
    PlixValue record;
    qint32 i32 = 0;
    qint64 i64 = 0;
    double real = 0;
    if (type == stringName() && scalar.userType() == QMetaType::QString)
        record.setString_(scalar.toString());
    else if (type == boolName() && scalar.userType() == QMetaType::Bool)
        record.setBool_(scalar.toBool());
    else if (type == i32Name() && toI32(scalar, &i32))
        record.setI32_(i32);
    else if (type == i64Name() && toI64(scalar, &i64))
        record.setI64_(i64);
    else if (type == doubleName() && toDouble(scalar, &real))
        record.setDouble_(real);
    else
        return false;
    *result = record;
    return true;
}

bool isRecord(const QVariant& value) {
    const int type = value.userType();
    return type == QMetaType::QVariantHash || type == qMetaTypeId<PlixValue>();
}

PlixValue toRecord(const QVariant& value) {
    return value.userType() == QMetaType::QVariantHash ? PlixValue(value.toHash())
                                                       : value.value<PlixValue>();
}

QString realToText(double number) {
    char text[32];
    const char* const end = std::to_chars(text, text + sizeof text, number).ptr;
    return QString::fromLatin1(text, static_cast<int>(end - text));
}

} // namespace

QString PlixValue::string_() const {
    return textOf(member(stringName()));
}

bool PlixValue::bool_() const {
    return truthOf(member(boolName()));
}

qint32 PlixValue::i32_() const {
    return i32Of(member(i32Name()));
}

qint64 PlixValue::i64_() const {
    return i64Of(member(i64Name()));
}

double PlixValue::double_() const {
    return realOf(member(doubleName()));
}

void PlixValue::setString_(const QString& value) {
    *this = PlixValue({{stringName(), value}});
}

void PlixValue::setBool_(bool value) {
    *this = PlixValue({{boolName(), value}});
}

void PlixValue::setI32_(qint32 value) {
    *this = PlixValue({{i32Name(), value}});
}

void PlixValue::setI64_(qint64 value) {
    *this = PlixValue({{i64Name(), value}});
}

void PlixValue::setDouble_(double value) {
    *this = PlixValue({{doubleName(), value}});
}

QString PlixValue::type() const {
    if (__hash().size() != 1)
        return QString();
    const QString& name = __hash().cbegin().key();
    const bool isTyped = name == stringName() || name == boolName() || name == i32Name() ||
                         name == i64Name() || name == doubleName();
    return isTyped ? name : QString();
}

PlixValue PlixValue::fromScalar(const QVariant& scalar) {
    PlixValue record;
    const int type = scalar.userType();
    if (type == QMetaType::Double || type == QMetaType::Float) {
        record.setDouble_(scalar.toDouble());
        return record;
    }
    for (const QString& name : {i32Name(), i64Name(), stringName(), boolName()}) {
        if (makeRecord(name, scalar, &record))
            break;
    }
    return record;
}

bool PlixValue::convert(const QVariant& value, PlixValue* result) const {
    if (!isRecord(value))
        return makeRecord(type(), value, result);
    const PlixValue given = toRecord(value);
    const QVariant scalar = given.__hash().value(given.type());
    // A record such as {"i32_": "5"} has no valid type.
    PlixValue wellFormed;
    return makeRecord(given.type(), scalar, &wellFormed) && makeRecord(type(), scalar, result);
}

QString plixValueToQString(const PlixValue& value) {
    const QString type = value.type();
    if (type.isNull())
        return QString();
    const QVariant& scalar = *value.__hash().cbegin();
    if (type == stringName())
        return textOf(scalar);
    if (type == boolName())
        return truthOf(scalar) ? QStringLiteral("true") : QStringLiteral("false");
    if (type == doubleName())
        return realToText(realOf(scalar));
    return QString::number(type == i32Name() ? i32Of(scalar) : i64Of(scalar));
}

int plixToInt(const QVariant& value, bool* ok) {
    qint32 number = 0;
    *ok = false;
    if (value.userType() != QMetaType::QString) {
        *ok = toI32(value, &number);
        return number;
    }
    // QString::toInt() accepts blanks and plus signs.
    const QByteArray text = value.toString().toLatin1();
    const char* const end = text.constData() + text.size();
    const auto parsed = std::from_chars(text.constData(), end, number);
    *ok = parsed.ec == std::errc() && parsed.ptr == end;
    return *ok ? number : 0;
}
