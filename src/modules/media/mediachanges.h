#pragma once

#include "library/mediacatalogue.h"

// Announces what differs between two catalogues: the lists, without the rows that differ, and the
// nodes of the tracks.
void announceChanges(const MediaCatalogue& before, const MediaCatalogue& after);
