// SPDX-License-Identifier: MIT
#pragma once

#include "plixexport.h"

#include <QString>

// MIME type names and the platform's table of file name extensions.
namespace MimeTypes {

// The type for the extension of the file name at the end of `uri`; `defaultType` when the
// extension is missing or unknown. Case-insensitive.
PLIX_EXPORT QString URIToMimeType(const QString& uri, const QString& defaultType);

namespace Text {
PLIX_EXPORT QString plain();
PLIX_EXPORT QString html();
} // namespace Text

namespace Application {
PLIX_EXPORT QString json();
PLIX_EXPORT QString octetStream();
} // namespace Application

} // namespace MimeTypes
