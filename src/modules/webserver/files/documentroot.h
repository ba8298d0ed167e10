// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

// Whether a canonical path is the document root or lies below it. Whole components are compared:
// "/srv/www-old" does not lie below "/srv/www". The root is an absolute path, with or without a
// slash at its end. Every path lies below an empty root.
bool isWithinDocumentRoot(const QString& canonicalPath, const QString& documentRoot);
