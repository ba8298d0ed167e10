// SPDX-License-Identifier: MIT
#include "connection/transport.h"

#include <cerrno>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

bool isTemporary(int error) {
    return error == EAGAIN || error == EINTR;
}

ssize_t result(ssize_t count) {
    if (count >= 0)
        return count;
    return isTemporary(errno) ? Transport::wouldBlock : Transport::failed;
}

} // namespace

Transport::~Transport() {
    close(m_descriptor);
}

ssize_t Transport::read(char* buffer, size_t size) {
    return result(recv(m_descriptor, buffer, size, MSG_DONTWAIT));
}

ssize_t Transport::write(std::string_view first, std::string_view second) {
    if (second.empty())
        return result(send(m_descriptor, first.data(), first.size(), MSG_DONTWAIT | MSG_NOSIGNAL));
    iovec parts[2] = {{const_cast<char*>(first.data()), first.size()},
                      {const_cast<char*>(second.data()), second.size()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    return result(sendmsg(m_descriptor, &message, MSG_DONTWAIT | MSG_NOSIGNAL));
}

// Without a flag against SIGPIPE. GIO ignores that signal in every process that has a GSocket.
ssize_t Transport::sendFile(int file, off_t offset, size_t length) {
    return result(sendfile(m_descriptor, file, &offset, length));
}

bool Transport::endOutput() {
    shutdown(m_descriptor, SHUT_WR);
    return true;
}
