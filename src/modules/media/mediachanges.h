// SPDX-License-Identifier: MIT
#pragma once

#include "library/mediacatalogue.h"

// Announces to those who watch them what differs between two catalogues: the nodes and, without the
// rows that differ, the lists.
void announceChanges(const MediaCatalogue& before, const MediaCatalogue& after);
