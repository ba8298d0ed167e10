// SPDX-License-Identifier: MIT
#pragma once

// What the program denies itself before it opens the first file.
namespace Confinement {

// No new privileges, no core dumps, bounded memory. Ends with the parent. What
// the system refuses is left out: inside a service the limits of the service hold.
void begin();
// The processor time of the whole process, in seconds. The system kills it at the limit.
void limitProcessorTime(unsigned seconds);

} // namespace Confinement
