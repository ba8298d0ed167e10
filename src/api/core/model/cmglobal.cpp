// SPDX-License-Identifier: MIT
#include "core/model/cmglobal.h"

QHash<QString, QVariant> CMGlobal::rolesValuesToHash(const QStringList& roles,
                                                     const QList<QVariant>& values) {
    const int count = qMin(roles.size(), values.size());
    QHash<QString, QVariant> hash;
    hash.reserve(count);
    for (int i = 0; i < count; ++i)
        hash.insert(roles[i], values[i]);
    return hash;
}
