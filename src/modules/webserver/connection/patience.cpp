// SPDX-License-Identifier: MIT
#include "connection/patience.h"

#include <glib.h>

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

// How long an answer may take to begin, or to go on, for a client that sends no more.
constexpr int graceMs = 1000;
constexpr size_t minProgress = 1024;

// Whether bytes are on their way to the client, or were a moment ago.
bool isBeingSent(int descriptor) {
    int queued = 0;
    if (ioctl(descriptor, SIOCOUTQ, &queued) == 0 && queued > 0)
        return true;
    tcp_info info{};
    socklen_t length = sizeof info;
    return getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &length) == 0 &&
           info.tcpi_last_data_sent < graceMs;
}

} // namespace

qint64 Patience::now() {
    return g_get_monotonic_time() / 1000;
}

void Patience::restart() {
    m_since = now();
    m_progress = 0;
}

bool Patience::hasProgress(size_t bytes) {
    m_progress += bytes;
    return m_progress >= minProgress;
}

bool Patience::hasLeft(qint64 now, int descriptor) const {
    return waited(now) > graceMs && !isBeingSent(descriptor);
}
