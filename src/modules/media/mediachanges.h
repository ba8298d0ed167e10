// SPDX-License-Identifier: MIT
#pragma once

#include "library/mediacatalogue.h"

// Announces to those who watch them what differs between two catalogues: the nodes, the rows of
// media:/ and, without the rows that differ, the other lists.
void announceChanges(const MediaCatalogue& before, const MediaCatalogue& after);
