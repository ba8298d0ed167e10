#pragma once

#include <QString>

// The text of these UTF-8 bytes, a leading U+FEFF included, which QString::fromUtf8() takes for a
// byte order mark and drops: in a value it is a character like others. Invalid bytes become U+FFFD.
inline QString plixFromUtf8(const char* bytes, int length) {
    QString text = QString::fromUtf8(bytes, length);
    if (length >= 3 && qstrncmp(bytes, "\xEF\xBB\xBF", 3) == 0)
        text.prepend(QChar(QChar::ByteOrderMark));
    return text;
}
