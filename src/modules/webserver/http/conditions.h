// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

// What the conditional headers of a request ask for. Headers that are absent are null.
struct Conditions {
    enum Outcome { Send, NotModified, PreconditionFailed };

    QByteArray method;
    // The values of all headers of the name, joined by commas.
    QByteArray ifNoneMatch;
    QByteArray ifMatch;

    // For a resource with this tag, which is a bare digest. A list matches when it contains the
    // digest, so that quoted and weak tags match too.
    Outcome check(const QByteArray& etag) const;
};

// Whether a range is asked of the version with this tag: without an If-Range header always, else
// when the header is exactly the tag.
bool isRangeOf(const QByteArray& ifRange, const QByteArray& etag);
