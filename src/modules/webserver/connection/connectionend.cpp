// SPDX-License-Identifier: MIT
#include "connection/connectionend.h"

#include <cerrno>
#include <sys/socket.h>

namespace {

constexpr size_t discardBytes = 16384;

} // namespace

ConnectionEnd::Step ConnectionEnd::advance(Sender& sender, const Transport& transport) const {
    if (!sender.flush())
        return sender.isBroken() ? Step::Over : Step::Sending;
    if (m_kind == Kind::Aborted)
        return Step::Over;
    if (m_kind == Kind::Reset) {
        const linger now{1, 0};
        setsockopt(transport.descriptor(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
        return Step::Over;
    }
    if (!sender.endOutput())
        return Step::Sending;
    return m_kind == Kind::Lingering ? Step::Lingering : Step::Over;
}

ConnectionEnd::Step ConnectionEnd::discard(const Transport& transport) {
    char buffer[discardBytes];
    const ssize_t count = recv(transport.descriptor(), buffer, sizeof buffer, MSG_DONTWAIT);
    const bool isOver = count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR);
    return isOver ? Step::Over : Step::Lingering;
}
