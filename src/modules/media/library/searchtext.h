// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

// Text as it is searched: without case, accents and apostrophes, with the letters that have no
// decomposition (ø, ł, æ) as those that people type for them. In UTF-8.
QByteArray searchText(const QString& text);
