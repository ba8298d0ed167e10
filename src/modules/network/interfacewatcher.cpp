// SPDX-License-Identifier: MIT
#include "interfacewatcher.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"

#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <cstring>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int settleMs = 250;
constexpr int pollMs = 10000;

// Opens a netlink socket for notifications. -1 with errno set on failure.
int openNoticeSocket() {
    const int descriptor =
        socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
    if (descriptor < 0)
        return -1;
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return descriptor;
    const int reason = errno;
    close(descriptor);
    errno = reason;
    return -1;
}

} // namespace

InterfaceWatcher::InterfaceWatcher(QObject* parent)
    : QObject(parent), m_socket(openNoticeSocket()) {
    plixConnect(&m_timer, &QTimer::timeout, this, &InterfaceWatcher::changed);
    if (m_socket < 0) {
        dbglog_warning("No notifications of network changes: " << std::strerror(errno));
        m_timer.start(pollMs);
        return;
    }
    m_timer.setSingleShot(true);
    m_timer.setInterval(settleMs);
    m_notifier = std::make_unique<QSocketNotifier>(m_socket, QSocketNotifier::Read);
    plixConnect(m_notifier.get(), &QSocketNotifier::activated, this,
                &InterfaceWatcher::on_notices_arrived);
}

InterfaceWatcher::~InterfaceWatcher() {
    m_notifier.reset();
    if (m_socket >= 0)
        close(m_socket);
}

// The content of the notifications is ignored, because the whole state is read afterwards. That the
// kernel has dropped notifications (ENOBUFS) counts as a notification.
void InterfaceWatcher::on_notices_arrived() {
    std::array<char, 8192> buffer;
    while (recv(m_socket, buffer.data(), buffer.size(), 0) > 0 || errno == EINTR ||
           errno == ENOBUFS) {
    }
    m_timer.start();
}
