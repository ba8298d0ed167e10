#pragma once

#include "core/model/cmrequest.h"

#include <QByteArray>
#include <QStringList>

#include <vector>

// The JSON texts of rows that were sent lately. A worker whose list has not changed may answer with
// the record that it gave before, parts shared, which then need not be written out again.
//
// Nothing here is ever out of date: what is shared cannot change, whoever wants to change it gets a
// copy.
class RowsTexts {
public:
    // The text that was kept for this very record, with the same roles and format; null when there
    // is none.
    QByteArray find(const PlixRowsRoles& rows, const QStringList& roles, int format) const;
    void keep(const PlixRowsRoles& rows, const QStringList& roles, int format,
              const QByteArray& text);

private:
    struct Entry {
        PlixRowsRoles rows;
        QStringList roles;
        int format;
        QByteArray text;
    };

    // The latest at the end.
    std::vector<Entry> m_entries;
};
