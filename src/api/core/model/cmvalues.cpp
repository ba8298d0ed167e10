// SPDX-License-Identifier: MIT
#include "core/model/cmvalues.h"

#include <algorithm>
#include <cmath>

namespace {

bool isInteger(const QVariant& value) {
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    default:
        return false;
    }
}

bool isReal(const QVariant& value) {
    return value.userType() == QMetaType::Double && !std::isnan(value.toDouble());
}

template <typename T>
int order(T left, T right) {
    return left < right ? -1 : left > right ? 1 : 0;
}

bool isNegative(const QVariant& integer) {
    return integer.userType() != QMetaType::ULongLong && integer.toLongLong() < 0;
}

int orderIntegers(const QVariant& left, const QVariant& right) {
    const bool negative = isNegative(left);
    if (negative != isNegative(right))
        return negative ? -1 : 1;
    return negative ? order(left.toLongLong(), right.toLongLong())
                    : order(left.toULongLong(), right.toULongLong());
}

int orderIntegerReal(const QVariant& integer, double real) {
    // Outside this range the conversion to an integer is undefined.
    if (real >= 0x1p64)
        return -1;
    if (real < -0x1p63)
        return 1;
    const double whole = std::floor(real);
    const int result = orderIntegers(integer, whole < 0 ? QVariant(qlonglong(whole))
                                                        : QVariant(qulonglong(whole)));
    return result == 0 && whole < real ? -1 : result;
}

// Negative, zero or positive as `left` is less than, equal to or greater than `right`; zero too
// when one of them is no number.
int orderNumbers(const QVariant& left, const QVariant& right) {
    if (isInteger(left) && isInteger(right))
        return orderIntegers(left, right);
    if (isInteger(left) && isReal(right))
        return orderIntegerReal(left, right.toDouble());
    if (isReal(left) && isInteger(right))
        return -orderIntegerReal(right, left.toDouble());
    return isReal(left) && isReal(right) ? order(left.toDouble(), right.toDouble()) : 0;
}

bool sameLists(const QVariantList& left, const QVariantList& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), CMValues::same);
}

bool sameHashes(const QVariantHash& left, const QVariantHash& right) {
    if (left.size() != right.size())
        return false;
    for (auto member = left.begin(); member != left.end(); ++member) {
        const auto other = right.constFind(member.key());
        if (other == right.constEnd() || !CMValues::same(*member, *other))
            return false;
    }
    return true;
}

} // namespace

QVariant CMValues::scalar(const QVariant& value) {
    if (value.userType() != QMetaType::QVariantHash)
        return value;
    const QVariantHash members = value.toHash();
    const QString type = PlixValue(members).type();
    return type.isNull() ? value : members.value(type);
}

PlixValue CMValues::record(const QVariant& value) {
    return value.userType() == QMetaType::QVariantHash ? PlixValue(value.toHash())
                                                       : PlixValue::fromScalar(value);
}

bool CMValues::same(const QVariant& left, const QVariant& right) {
    if (isInteger(left) && isInteger(right))
        return orderIntegers(left, right) == 0;
    if (left.userType() != right.userType())
        return false;
    switch (left.userType()) {
    case QMetaType::QVariantHash:
        return sameHashes(left.toHash(), right.toHash());
    case QMetaType::QVariantList:
        return sameLists(left.toList(), right.toList());
    case QMetaType::Double:
        return left.toDouble() == right.toDouble();
    default:
        return left == right;
    }
}

bool CMValues::isWithin(const QVariant& value, const QVariant& minimum, const QVariant& maximum) {
    const QVariant number = scalar(value);
    if (number.userType() == QMetaType::Double && std::isnan(number.toDouble()))
        return false;
    return orderNumbers(number, scalar(minimum)) >= 0 && orderNumbers(number, scalar(maximum)) <= 0;
}

qint64 CMValues::weight(const QVariant& value) {
    // The overhead of a container for each element.
    constexpr qint64 elementBytes = 64;
    qint64 bytes = 0;
    switch (value.userType()) {
    case QMetaType::QVariantHash: {
        const QVariantHash members = value.toHash();
        for (auto member = members.begin(); member != members.end(); ++member)
            bytes += elementBytes + weight(member.key()) + weight(*member);
        return bytes;
    }
    case QMetaType::QVariantList: {
        const QVariantList elements = value.toList();
        for (const QVariant& element : elements)
            bytes += elementBytes + weight(element);
        return bytes;
    }
    case QMetaType::QString:
        return qint64(value.toString().size()) * qint64(sizeof(QChar));
    default:
        return sizeof(QVariant);
    }
}
