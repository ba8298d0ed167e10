// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

// Marks what the platform's libraries export. They are compiled with hidden symbols, so that what
// nobody outside should rely on cannot be linked with.
#define PLIX_EXPORT Q_DECL_EXPORT
