// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmpath.h"

// Maps the paths without a worker's name that older clients use ("/player/volume") to encoded paths
// ("player:player/volume") and back. Prefixes are replaced as text, whatever follows: "/uiX"
// becomes "ui:X", because clients rely on it.
class LegacyPathHelper {
public:
    // Whether the path begins with a legacy prefix.
    static bool isLegacy(const CMPath& path);
    // Whether the path begins with the text to which a legacy prefix is mapped.
    static bool wasLegacy(const CMPath& path);
    // Both return a path that matches no prefix unchanged.
    static CMPath fromLegacy(const CMPath& path);
    static CMPath toLegacy(const CMPath& path);
};
