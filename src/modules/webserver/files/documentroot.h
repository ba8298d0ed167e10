#pragma once

#include <QString>

// Whether a canonical path is the document root or lies below it, by whole components: "/srv/www"
// does not hold "/srv/www-old". The root is an absolute path, with or without a slash at its end;
// an empty one holds every path.
bool isWithinDocumentRoot(const QString& canonicalPath, const QString& documentRoot);
