#pragma once

#include "core/model/cmrequest.h"

#include <functional>
#include <vector>

// The latest answers of a worker to requests for rows: clients ask for the rows that they show
// again and again, and the same record once more costs next to nothing.
//
// An answer stands for one version of a list, so that none is ever out of date; no version may come
// twice for a path.
class CMRowsAnswers {
public:
    // What answers the request about this version of the list: a record that shares its parts with
    // the one given before, or what `pick` returns.
    PlixRowsRoles answer(const CMGetRowsRequest& request, qint64 version,
                         const std::function<PlixRowsRoles()>& pick);

private:
    struct Entry {
        CMPath path;
        qint64 version;
        int from;
        int to;
        QStringList roles;
        PlixRowsRoles rows;
    };

    Entry* find(const CMGetRowsRequest& request, qint64 version);
    void remember(const CMGetRowsRequest& request, qint64 version);

    // The latest at the end.
    std::vector<Entry> m_entries;
};
