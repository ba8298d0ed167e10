// SPDX-License-Identifier: MIT

// The Host header: no name that somebody on the internet can own is accepted.
#include "http/hostcheck.h"
#include "property.h"

#include <QList>

#include <algorithm>
#include <cctype>

namespace {

// At least two labels of letters, digits and hyphens, the last one not a number: what a resolver
// looks up. Browsers send it in lower case, with a port of digits if any.
bool isPublicName(QByteArray host) {
    const int colon = host.lastIndexOf(':');
    if (colon >= 0 && std::all_of(host.begin() + colon + 1, host.end(), ::isdigit))
        host.truncate(colon);
    if (host.endsWith('.'))
        host.chop(1);
    const QList<QByteArray> labels = host.split('.');
    const auto isLabel = [](const QByteArray& label) {
        return !label.isEmpty() && std::all_of(label.begin(), label.end(), [](char c) {
            return std::islower(c) || std::isdigit(c) || c == '-' || c == '_';
        });
    };
    const QByteArray top = labels.last();
    return labels.size() > 1 && std::all_of(labels.begin(), labels.end(), isLabel) &&
           !std::isdigit(top[0]) && top != "local" && top != "localdomain" && top != "localdomain6";
}

} // namespace

void fuzz(const QByteArray& input) {
    // Header values hold no NUL and no non-ASCII letters that <cctype> could be asked about.
    if (std::any_of(input.begin(), input.end(), [](char c) { return c <= 0; }))
        return;
    FUZZ_CHECK(!isHostAccepted(input) || !isPublicName(input));
    FUZZ_CHECK(!isHostAccepted(input + ".example.com") || !isPublicName(input + ".example.com"));
    FUZZ_CHECK(input.contains(':') || isHostAccepted(input + ".local"));
}
