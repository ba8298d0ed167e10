// SPDX-License-Identifier: MIT
#include "connection/endpoints.h"

namespace {

GObjectPtr<GSocketAddress> newAddress(sockaddr_storage* name, socklen_t length) {
    return GObjectPtr<GSocketAddress>::adopt(g_socket_address_new_from_native(name, length));
}

} // namespace

GSocketAddress* Endpoints::local() {
    if (!m_local) {
        sockaddr_storage name{};
        socklen_t length = sizeof name;
        getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&name), &length);
        m_local = newAddress(&name, length);
    }
    return m_local.get();
}

GSocketAddress* Endpoints::remote() {
    if (!m_remote)
        m_remote = newAddress(&m_remoteName, sizeof m_remoteName);
    return m_remote.get();
}

std::string Endpoints::remoteText() {
    const GCharPtr text(g_inet_address_to_string(
        g_inet_socket_address_get_address(G_INET_SOCKET_ADDRESS(remote()))));
    return text.get();
}
