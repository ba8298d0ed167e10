// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

namespace TagLib {
class File;
}

// The picture in the tags of an open audio file, the front cover if there are several. Null without
// one.
QByteArray embeddedPicture(TagLib::File* file);
