// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmnodesworker.h"
#include "core/model/cmroot.h"
#include "core/plixjson.h"

// A worker that answers reads when the test says so.
class HoldingWorker : public CMNodesWorker {
public:
    explicit HoldingWorker(const QString& name) : CMNodesWorker({}, name) {}
    void getDataRequest(const CMGetDataRequest& request) override { requests.append(request); }
    void answerOne() { CMNodesWorker::getDataRequest(requests.takeFirst()); }
    QList<CMGetDataRequest> requests;
};

// What tests ask of the data model, in few words. The workers they ask answer at once.

inline QVariant json(const QByteArray& text) {
    PlixError error;
    return PlixJson::parse(text, error);
}

// The error's name; null when there is none.
inline QString setData(const QString& path, const QString& role, const QVariant& value) {
    const CMReply<QVariant> reply;
    CMRoot()->setData(CMPath::fromEncoded(path), role, value, reply);
    return reply.isFinished() ? reply.error().name() : QStringLiteral("unfinished");
}

inline QVariantHash valueOf(const QString& path) {
    return CMRoot()->getValue(CMPath::fromEncoded(path)).toHash();
}

inline QVariantList rowsOf(const QString& path, const QStringList& roles) {
    const CMReply<PlixRowsRoles> reply;
    CMRoot()->getRows(CMPath::fromEncoded(path), 0, 100, -1, roles, reply);
    return reply.value().rows().toList();
}

inline int rowCount(const QString& path) {
    const CMReply<PlixRowsRoles> reply;
    CMRoot()->getRows(CMPath::fromEncoded(path), 0, 0, -1, {}, reply);
    return reply.value().count();
}

// Carries out the events of a list on a client's copy of its rows, and then reads the new and the
// changed ones from what the list is now.
inline void carryOut(const QVariantList& events, const QVariantList& now, QVariantList* rows) {
    for (const QVariant& record : events) {
        const PlixRowEvent event(record.toHash());
        if (event.type() == PlixRowEventType::Inserted)
            rows->insert(event.index(), QVariant());
        else if (event.type() == PlixRowEventType::Removed)
            rows->removeAt(event.index());
        else if (event.type() == PlixRowEventType::Moved)
            rows->move(event.index(), event.toIndex());
        else
            (*rows)[event.index()] = QVariant();
    }
    for (int row = 0; row < rows->size(); ++row)
        (*rows)[row] = rows->at(row).isValid() ? rows->at(row) : now.value(row);
}

inline QStringList titlesOf(const QString& path) {
    QStringList titles;
    for (const QVariant& row : rowsOf(path, {"title"}))
        titles.append(row.toList().first().toString());
    return titles;
}
