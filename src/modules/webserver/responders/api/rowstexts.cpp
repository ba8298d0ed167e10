#include "responders/api/rowstexts.h"

#include <algorithm>

namespace {

// Several clients that each show parts of a few lists.
constexpr std::size_t maximumEntries = 8;
// More than a client shows at a time; longer texts are worth their memory for nobody.
constexpr int maximumLength = 256 * 1024;

} // namespace

QByteArray RowsTexts::find(const PlixRowsRoles& rows, const QStringList& roles, int format) const {
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
        return entry.rows.__hash().isSharedWith(rows.__hash()) && entry.format == format &&
               entry.roles == roles;
    });
    return found == m_entries.end() ? QByteArray() : found->text;
}

void RowsTexts::keep(const PlixRowsRoles& rows, const QStringList& roles, int format,
                     const QByteArray& text) {
    // Those that only this table still holds are of lists that have changed.
    m_entries.erase(
        std::remove_if(m_entries.begin(), m_entries.end(),
                       [](const Entry& entry) { return entry.rows.__hash().isDetached(); }),
        m_entries.end());
    if (text.size() > maximumLength)
        return;
    if (m_entries.size() == maximumEntries)
        m_entries.erase(m_entries.begin());
    m_entries.push_back({rows, roles, format, text});
}
