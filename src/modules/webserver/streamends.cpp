#include "streamends.h"

#include <glib-unix.h>

#include <sys/epoll.h>
#include <unistd.h>

StreamEnds::StreamEnds(Callback callback)
    : m_callback(std::move(callback)), m_epoll(epoll_create1(EPOLL_CLOEXEC)),
      m_source(g_unix_fd_source_new(m_epoll, G_IO_IN)) {
    g_source_set_callback(m_source.get(), G_SOURCE_FUNC(on_epoll), this, nullptr);
    g_source_attach(m_source.get(), nullptr);
}

StreamEnds::~StreamEnds() {
    m_source.reset();
    close(m_epoll);
}

void StreamEnds::add(GSocket* socket, void* key) {
    epoll_event event{};
    event.events = EPOLLRDHUP | EPOLLONESHOT;
    event.data.ptr = key;
    epoll_ctl(m_epoll, EPOLL_CTL_ADD, g_socket_get_fd(socket), &event);
}

gboolean StreamEnds::on_epoll(gint, GIOCondition, gpointer self) {
    auto* ends = static_cast<StreamEnds*>(self);
    // One at a time, because the receiver may close others.
    epoll_event event{};
    if (epoll_wait(ends->m_epoll, &event, 1, 0) == 1)
        ends->m_callback(event.data.ptr);
    return G_SOURCE_CONTINUE;
}
