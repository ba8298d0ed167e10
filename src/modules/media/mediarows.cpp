// SPDX-License-Identifier: MIT
#include "mediarows.h"

#include "core/model/cmroles.h"
#include "core/plixvalue.h"

#include <algorithm>

namespace {

// A device file may hide single nodes; what is copied from them is hidden too.
bool isInternalRow(const CatalogueLists::List& list, int index, const QSet<QString>& internal) {
    if (internal.isEmpty())
        return false;
    const QVariantList values = list.row(index, {PlixRolesType::Value()});
    return internal.contains(PlixValue(values.first().toHash()).string_());
}

} // namespace

PlixRowsRoles MediaRows::answer(const CatalogueLists::List& list, const CMGetRowsRequest& request,
                                qint64 version, const QSet<QString>& internalNodes) {
    const bool isInternal = internalNodes.contains(request.path.toEncoded());
    const int internalAt = request.roles.indexOf(PlixRoles::Internal());
    const qint64 first = std::max(request.from, 0);
    const qint64 end = std::min<qint64>({list.count, first + maximumRows, qint64(request.to) + 1});
    QVariantList rows;
    for (int index = int(first); index < end; ++index) {
        QVariantList values = list.row(index, request.roles);
        if (internalAt >= 0 && (isInternal || isInternalRow(list, index, internalNodes)))
            values[internalAt] = true;
        rows.append(QVariant(values));
    }
    PlixRowsRoles result;
    result.setRows(rows);
    result.setCount(list.count);
    result.setVersion(version);
    return result;
}
