// SPDX-License-Identifier: MIT
#include "core/model/cmrowsanswers.h"

PlixRowsRoles CMRowsAnswers::answer(const CMGetRowsRequest& request, qint64 version,
                                    const std::function<PlixRowsRoles()>& pick) {
    Entry* const known = m_entries.find([&](const Entry& entry) {
        return entry.version == version && entry.from == request.from && entry.to == request.to &&
               entry.path == request.path && entry.roles == request.roles;
    });
    // An answer is cached at the second request for it: a record that nobody else holds is changed
    // without a copy, and most requests about a list that changes often come once.
    if (!known) {
        m_entries.add({request.path, version, request.from, request.to, request.roles, {}});
        return pick();
    }
    if (known->rows.isEmpty())
        known->rows = pick();
    return known->rows;
}
