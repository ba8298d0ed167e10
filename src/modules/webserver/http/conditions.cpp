// SPDX-License-Identifier: MIT
#include "http/conditions.h"

namespace {

bool matches(const QByteArray& list, const QByteArray& etag) {
    return list == "*" || list.contains(etag);
}

} // namespace

Conditions::Outcome Conditions::check(const QByteArray& etag) const {
    if ((method == "GET" || method == "HEAD") && matches(ifNoneMatch, etag))
        return NotModified;
    return ifMatch.isEmpty() || matches(ifMatch, etag) ? Send : PreconditionFailed;
}

bool isRangeOf(const QByteArray& ifRange, const QByteArray& etag) {
    return ifRange.isNull() || ifRange == etag;
}
