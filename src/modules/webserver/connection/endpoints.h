#pragma once

#include "glibptr.h"

#include <string>
#include <sys/socket.h>

// The addresses of a connection's two ends. Those for libsoup are made when it asks first.
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
