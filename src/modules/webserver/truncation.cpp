#include "truncation.h"

#include <cerrno>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

namespace {

const auto pageSize = static_cast<size_t>(sysconf(_SC_PAGESIZE));

// Only ever compared for equality, so that it may wrap.
volatile std::sig_atomic_t missingPages = 0;
const char* volatile guarded = nullptr;
volatile size_t guardedLength = 0;
struct sigaction before = {};

// Puts a page of zeros in the place of the one that is gone. Faults of anybody else are dealt with
// as before.
void on_busError(int, siginfo_t* info, void*) {
    const int error = errno;
    const auto address = reinterpret_cast<uintptr_t>(info->si_addr);
    auto* page = reinterpret_cast<void*>(address - address % pageSize);
    const bool isGuarded = address - reinterpret_cast<uintptr_t>(guarded) < guardedLength;
    if (info->si_code == BUS_ADRERR && isGuarded &&
        mmap(page, pageSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) !=
            MAP_FAILED)
        missingPages = missingPages + 1;
    else
        sigaction(SIGBUS, &before, nullptr);
    errno = error;
}

bool survive() {
    struct sigaction action = {};
    action.sa_sigaction = on_busError;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    return sigaction(SIGBUS, &action, &before) == 0;
}

} // namespace

TruncationWatch::TruncationWatch() : m_before(missingPages) {
    static const bool survives = survive();
    static_cast<void>(survives);
}

bool TruncationWatch::sawTruncation() const {
    return missingPages != m_before;
}

void TruncationWatch::guard(const char* data, size_t length) {
    guarded = data;
    guardedLength = length;
}

void TruncationWatch::touch(const char* data, size_t length) {
    guard(data, length);
    const volatile char* bytes = data;
    for (size_t i = 0; i < length; i += pageSize)
        static_cast<void>(bytes[i]);
    if (length > 0)
        static_cast<void>(bytes[length - 1]);
}
