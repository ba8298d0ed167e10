// SPDX-License-Identifier: MIT
#include "responders/legacypathhelper.h"

#include "core/dbglog.h"

namespace {

struct PrefixPair {
    QLatin1String legacy;
    QLatin1String current;
};

// No prefix of a column begins with another one, so the order does not matter.
const PrefixPair prefixPairs[] = {
    {QLatin1String("/player"), QLatin1String("player:player")},
    {QLatin1String("/ui"), QLatin1String("ui:")},
};

using Column = QLatin1String PrefixPair::*;

const PrefixPair* findPair(const CMPath& path, Column column) {
    for (const PrefixPair& pair : prefixPairs) {
        if (path.toEncoded().startsWith(pair.*column))
            return &pair;
    }
    return nullptr;
}

CMPath replacePrefix(const CMPath& path, Column from, Column to) {
    const PrefixPair* pair = findPair(path, from);
    if (!pair)
        return path;
    return CMPath::fromEncoded(pair->*to + path.toEncoded().mid((pair->*from).size()));
}

} // namespace

bool LegacyPathHelper::isLegacy(const CMPath& path) {
    return findPair(path, &PrefixPair::legacy);
}

bool LegacyPathHelper::wasLegacy(const CMPath& path) {
    return findPair(path, &PrefixPair::current);
}

CMPath LegacyPathHelper::fromLegacy(const CMPath& path) {
    if (path.toEncoded().startsWith(QLatin1Char('/')))
        dbglog_warning("Path without worker name is deprecated, please fix it: " << path);
    return replacePrefix(path, &PrefixPair::legacy, &PrefixPair::current);
}

CMPath LegacyPathHelper::toLegacy(const CMPath& path) {
    return replacePrefix(path, &PrefixPair::current, &PrefixPair::legacy);
}
