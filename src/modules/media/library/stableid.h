// SPDX-License-Identifier: MIT
#pragma once

#include <QCryptographicHash>
#include <QString>

// The id of what the key names, as a part of a path: the same whenever and wherever it is asked
// for.
inline QString stableId(const QByteArray& key) {
    // Enough for millions of names without two that are equal.
    constexpr int digits = 16;
    return QString::fromLatin1(
        QCryptographicHash::hash(key, QCryptographicHash::Sha1).toHex().left(digits));
}
