#pragma once

#include <QByteArray>

// What a Range header asks of a content of a known length.
struct RangeRequest {
    enum Kind {
        Whole,         // no range, or a header that is not valid and therefore means nothing
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

// Reads the value of a Range header; null and empty ones ask for the whole. A range that ends
// beyond the content ends at its last byte, and a suffix longer than the content is all of it.
// Numbers of any length are understood. Ranges are never merged.
RangeRequest parseRange(const QByteArray& header, qint64 length);
