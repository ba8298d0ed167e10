// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

// MIME type names and the platform's table of file name extensions.
namespace MimeTypes {

// The type for the extension of the file name at the end of `uri`; `defaultType` when the
// extension is missing or unknown. Case-insensitive.
QString URIToMimeType(const QString& uri, const QString& defaultType);

namespace Text {
QString plain();
QString html();
} // namespace Text

namespace Application {
QString json();
QString octetStream();
} // namespace Application

} // namespace MimeTypes
