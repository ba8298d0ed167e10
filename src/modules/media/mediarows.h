// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmrequest.h"
#include "library/cataloguelists.h"

#include <QSet>

// Answers to requests for rows of a catalogue's lists.
namespace MediaRows {

// Of one answer, which is made in one turn of the event loop.
constexpr qint64 maximumRows = 10000;

// Rows of the internal nodes, and all rows of an internal list, are marked as internal.
PlixRowsRoles answer(const CatalogueLists::List& list, const CMGetRowsRequest& request,
                     qint64 version, const QSet<QString>& internalNodes);

} // namespace MediaRows
