// SPDX-License-Identifier: MIT
#pragma once

#include "glibptr.h"

#include <string>
#include <sys/socket.h>

// The addresses of both ends of a connection. The objects for libsoup are created on first use.
class Endpoints {
public:
    Endpoints(int descriptor, const sockaddr_storage& remote)
        : m_descriptor(descriptor), m_remoteName(remote) {}

    GSocketAddress* local();
    GSocketAddress* remote();
    // For log lines.
    std::string remoteText();

private:
    int m_descriptor;
    sockaddr_storage m_remoteName;
    GObjectPtr<GSocketAddress> m_local;
    GObjectPtr<GSocketAddress> m_remote;
};
