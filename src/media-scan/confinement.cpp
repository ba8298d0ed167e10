// SPDX-License-Identifier: MIT
#include "confinement.h"

#include <csignal>
#include <sys/prctl.h>
#include <sys/resource.h>

namespace {

// The libraries take 150 MiB of address space, a picture of 64 million pixels 256 MiB.
[[maybe_unused]] constexpr rlim_t maximumAddressSpace = rlim_t(768) << 20;

void limit(__rlimit_resource resource, rlim_t value) {
    const rlimit both{value, value};
    setrlimit(resource, &both);
}

} // namespace

void Confinement::begin() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    prctl(PR_SET_DUMPABLE, 0);
    limit(RLIMIT_CORE, 0);
#ifndef PLIX_UNLIMITED_ADDRESS_SPACE
    limit(RLIMIT_AS, maximumAddressSpace);
#endif
}

void Confinement::limitProcessorTime(unsigned seconds) {
    limit(RLIMIT_CPU, seconds);
}
