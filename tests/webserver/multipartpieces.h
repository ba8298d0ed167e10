// SPDX-License-Identifier: MIT
#pragma once

#include "http/multipartsplitter.h"

#include <QByteArrayList>

// Splits a multipart body that comes in these pieces, one step for each and the rest at the end,
// into the header block and the content of one part after the other.
inline QByteArrayList splitPieces(const QByteArray& delimiter, const QByteArrayList& pieces) {
    QByteArrayList parts;
    MultipartSplitter splitter(
        delimiter, [&](const QByteArray& header) { parts << header << QByteArray(); },
        [&](const char* data, unsigned size) { parts.last() += QByteArray(data, int(size)); });
    for (const QByteArray& piece : pieces) {
        splitter.append(piece.constData(), unsigned(piece.size()));
        splitter.step(false);
    }
    while (splitter.step(true) > 0) {
    }
    return parts;
}
