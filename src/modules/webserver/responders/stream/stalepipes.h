// SPDX-License-Identifier: MIT
#pragma once

// Removes the FIFOs of streams that a killed process has left in /tmp. The FIFOs of other running
// processes are not removed: they have a reader, or are new.
void removeStalePipes();
