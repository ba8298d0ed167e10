#include "core/model/cmrowsanswers.h"

#include <algorithm>

namespace {

// Several clients that each show parts of a few lists.
constexpr std::size_t maximumEntries = 8;

} // namespace

PlixRowsRoles CMRowsAnswers::answer(const CMGetRowsRequest& request, qint64 version,
                                    const std::function<PlixRowsRoles()>& pick) {
    Entry* const known = find(request, version);
    // Kept from the second time on: a record that nobody else holds is changed without a copy, and
    // about a list that changes often most questions come once.
    if (!known) {
        remember(request, version);
        return pick();
    }
    if (known->rows.isEmpty())
        known->rows = pick();
    return known->rows;
}

CMRowsAnswers::Entry* CMRowsAnswers::find(const CMGetRowsRequest& request, qint64 version) {
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
        return entry.version == version && entry.from == request.from && entry.to == request.to &&
               entry.path == request.path && entry.roles == request.roles;
    });
    return found == m_entries.end() ? nullptr : &*found;
}

void CMRowsAnswers::remember(const CMGetRowsRequest& request, qint64 version) {
    if (m_entries.size() == maximumEntries)
        m_entries.erase(m_entries.begin());
    m_entries.push_back({request.path, version, request.from, request.to, request.roles, {}});
}
