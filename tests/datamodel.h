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

inline QStringList titlesOf(const QString& path) {
    QStringList titles;
    for (const QVariant& row : rowsOf(path, {"title"}))
        titles.append(row.toList().first().toString());
    return titles;
}
