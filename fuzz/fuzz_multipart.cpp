// SPDX-License-Identifier: MIT

// Multipart bodies: however a body is cut into pieces, the splitter finds what a search in the
// whole body finds.
#include "multipartpieces.h"
#include "property.h"

#include <algorithm>

namespace {

const QByteArray delimiter = "\r\n--B";

// The header block and the content of one part after the other.
QByteArrayList search(const QByteArray& body) {
    const QByteArray text = "\r\n" + body;
    QByteArrayList parts;
    int at = text.indexOf(delimiter);
    // Whether nothing stands between the delimiter and what was before it.
    bool isFirst = at == 0;
    while (at >= 0 && text.mid(at + delimiter.size(), 2) != "--") {
        const int begin = isFirst ? at : at + delimiter.size();
        const int end = text.indexOf("\r\n\r\n", begin) + 4;
        const QByteArray header = text.mid(begin, end - begin);
        if (end < 4 || header.contains('\0') ||
            header.size() > MultipartSplitter::maximumHeaderSize)
            break;
        at = text.indexOf(delimiter, end);
        isFirst = at == end;
        parts << header << text.mid(end, at < 0 ? -1 : at - end);
    }
    return parts;
}

QByteArrayList split(const QByteArray& body, int pieceSize) {
    QByteArrayList pieces;
    for (int at = 0; at < body.size(); at += pieceSize)
        pieces << body.mid(at, pieceSize);
    return splitPieces(delimiter, pieces);
}

} // namespace

// The size of the pieces, then the body.
void fuzz(const QByteArray& input) {
    if (input.isEmpty())
        return;
    const QByteArray body = input.mid(1);
    const QByteArrayList parts = search(body);
    FUZZ_CHECK(split(body, std::max(1, body.size())) == parts);
    FUZZ_CHECK(split(body, 1 + static_cast<unsigned char>(input[0])) == parts);
}
