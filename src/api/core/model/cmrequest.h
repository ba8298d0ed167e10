// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmpath.h"
#include "core/model/cmreply.h"
#include "core/plixhash.h"

#include <QStringList>
#include <QVariant>

// The result of a rows request: `rows`, a list with one list of values per row, in the order of
// the requested roles; `count`, the rows of the whole list; `version`, which grows with every
// change of the list.
class PlixRowsRoles : public PlixHash {
public:
    using PlixHash::PlixHash;

    QVariant rows() const { return member(QStringLiteral("rows")); }
    // Moves the list out of the record.
    QVariantList takeRows() { return takeMember(QStringLiteral("rows")).toList(); }
    void setRows(const QVariant& rows) { setMember(QStringLiteral("rows"), rows); }
    int count() const { return member(QStringLiteral("count")).toInt(); }
    void setCount(int count) { setMember(QStringLiteral("count"), count); }
    qint64 version() const { return member(QStringLiteral("version")).toLongLong(); }
    void setVersion(qint64 version) { setMember(QStringLiteral("version"), version); }
};

// One value per role, in the order of `roles`; an invalid variant for a role that the node does
// not have.
struct CMGetDataRequest {
    CMPath path;
    QStringList roles;
    CMReply<QList<QVariant>> reply;
};

// Rows `from` to `to` inclusive, clamped to the list; none when `from` is greater than `to`.
// `version` -1 means any; another one than the list's is the error versionMismatch.
struct CMGetRowsRequest {
    CMPath path;
    int from;
    int to;
    int version;
    QStringList roles;
    CMReply<PlixRowsRoles> reply;
};

// Writes one role. The reply's value is the node's answer; a plain node answers with the value that
// it has stored.
struct CMSetDataRequest {
    CMPath path;
    QString role;
    QVariant value;
    CMReply<QVariant> reply;
};

Q_DECLARE_METATYPE(PlixRowsRoles)
