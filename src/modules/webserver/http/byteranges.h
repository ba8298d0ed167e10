// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

// What a Range header requests of a resource with a known length.
struct RangeRequest {
    enum Kind {
        Whole,         // no range, or an invalid header, which is ignored
        Single,        // `first` to `last`, which lie within the content
        Unsatisfiable, // a single range that begins outside the content
        Several
    };

    Kind kind = Whole;
    int count = 0;
    // Positions of the first and the last byte asked for, of a single range only.
    qint64 first = 0;
    qint64 last = 0;
};

// Parses the value of a Range header; null and empty values request the whole. A range that ends
// beyond the content is cut at its last byte. A suffix longer than the content is the whole
// content. Numbers may have any length. Ranges are not merged.
RangeRequest parseRange(const QByteArray& header, qint64 length);
