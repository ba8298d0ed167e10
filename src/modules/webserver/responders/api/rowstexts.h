// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmrequest.h"
#include "core/plixlrulist.h"

#include <QByteArray>
#include <QStringList>

// An LRU cache of the JSON texts of rows. A worker whose list has not changed may answer with the
// record that it gave before; the text of that record need not be made again.
//
// The key is the identity of an implicitly shared record. No text is ever out of date, because who
// writes to a shared record writes to a copy.
class RowsTexts {
public:
    // The text of this very record, with the same roles and format; null when there is none.
    QByteArray find(const PlixRowsRoles& rows, const QStringList& roles, int format);
    void add(const PlixRowsRoles& rows, const QStringList& roles, int format,
             const QByteArray& text);

private:
    struct Entry {
        PlixRowsRoles rows;
        QStringList roles;
        int format;
        QByteArray text;
    };

    // Enough for several clients that each show parts of a few lists.
    PlixLruList<Entry, 8> m_entries;
};
