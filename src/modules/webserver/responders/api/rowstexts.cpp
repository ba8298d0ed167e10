// SPDX-License-Identifier: MIT
#include "responders/api/rowstexts.h"

namespace {

// More than a client shows at a time. Longer texts take more memory than they save time.
constexpr int maximumLength = 256 * 1024;

} // namespace

QByteArray RowsTexts::find(const PlixRowsRoles& rows, const QStringList& roles, int format) {
    const Entry* const found = m_entries.find([&](const Entry& entry) {
        return entry.rows.__hash().isSharedWith(rows.__hash()) && entry.format == format &&
               entry.roles == roles;
    });
    return found ? found->text : QByteArray();
}

void RowsTexts::add(const PlixRowsRoles& rows, const QStringList& roles, int format,
                    const QByteArray& text) {
    // A record that only this cache still holds belongs to a list that has changed.
    m_entries.removeIf([](const Entry& entry) { return entry.rows.__hash().isDetached(); });
    if (text.size() <= maximumLength)
        m_entries.add({rows, roles, format, text});
}
