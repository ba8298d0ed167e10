#pragma once

#include "core/model/cmpath.h"

// Maps paths without a worker's name, which older clients use ("/player/volume"), to encoded paths
// ("player:player/volume") and back. Prefixes are replaced as text, whatever follows them:
// "/uiX" becomes "ui:X", because clients rely on it.
class LegacyPathHelper {
public:
    // The path begins with a legacy prefix.
    static bool isLegacy(const CMPath& path);
    // The path begins with what a legacy prefix is mapped to.
    static bool wasLegacy(const CMPath& path);
    // A path that matches no prefix comes back unchanged.
    static CMPath fromLegacy(const CMPath& path);
    static CMPath toLegacy(const CMPath& path);
};
