#pragma once

// Removes the FIFOs of streams that a device has left in /tmp when it was killed. Those of other
// devices stay: they are read by somebody, or have just been made.
void removeStalePipes();
