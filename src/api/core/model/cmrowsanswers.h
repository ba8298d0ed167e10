// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmrequest.h"
#include "core/plixlrulist.h"
#include "plixexport.h"

#include <functional>

// An LRU cache of a worker's answers to requests for rows. Clients ask for the rows that they show
// again and again; to give the same record again is much cheaper than to make a new one.
//
// The key contains the version of the list, so that no answer is ever out of date; no version may
// come twice for a path.
class PLIX_EXPORT CMRowsAnswers {
public:
    // The answer to the request for this version of the list: the cached record (implicitly
    // shared), or the result of `pick`.
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

    // Enough for several clients that each show parts of a few lists.
    PlixLruList<Entry, 8> m_entries;
};
