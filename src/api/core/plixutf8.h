// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

// The text of these UTF-8 bytes. A leading U+FEFF is kept, because in a value it is a character
// like others; QString::fromUtf8() drops it as a byte order mark. Invalid bytes become U+FFFD.
inline QString plixFromUtf8(const char* bytes, int length) {
    QString text = QString::fromUtf8(bytes, length);
    if (length >= 3 && qstrncmp(bytes, "\xEF\xBB\xBF", 3) == 0)
        text.prepend(QChar(QChar::ByteOrderMark));
    return text;
}
