// SPDX-License-Identifier: MIT
#pragma once

#include "plixexport.h"

#include <QHash>
#include <QStringList>
#include <QVariant>

namespace CMGlobal {

// Maps each role to the value at the same position. Surplus entries of the longer list are ignored.
PLIX_EXPORT QHash<QString, QVariant> rolesValuesToHash(const QStringList& roles,
                                                       const QList<QVariant>& values);

} // namespace CMGlobal
