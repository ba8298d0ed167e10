// SPDX-License-Identifier: MIT
#pragma once

#include <QHash>
#include <QStringList>
#include <QVariant>

namespace CMGlobal {

// Maps each role to the value at the same position. Surplus entries of the longer list are ignored.
QHash<QString, QVariant> rolesValuesToHash(const QStringList& roles, const QList<QVariant>& values);

} // namespace CMGlobal
