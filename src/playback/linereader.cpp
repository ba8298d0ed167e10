// SPDX-License-Identifier: MIT
#include "linereader.h"

#include <glib-unix.h>

#include <cerrno>
#include <unistd.h>

LineReader::LineReader(int descriptor, std::function<void(const QByteArray&)> onLine,
                       std::function<void()> onEnd)
    : m_onLine(std::move(onLine)), m_onEnd(std::move(onEnd)) {
    const auto onReadable = [](gint readable, GIOCondition, gpointer self) -> gboolean {
        return static_cast<LineReader*>(self)->read(readable) ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
    };
    m_source = g_unix_fd_add(descriptor, GIOCondition(G_IO_IN | G_IO_HUP), onReadable, this);
}

LineReader::~LineReader() {
    if (m_source)
        g_source_remove(m_source);
}

// False at the end.
bool LineReader::read(int descriptor) {
    char bytes[4096];
    const ssize_t count = ::read(descriptor, bytes, sizeof bytes);
    if (count < 0 && (errno == EINTR || errno == EAGAIN))
        return true;
    if (count <= 0) {
        m_source = 0;
        m_onEnd();
        return false;
    }
    m_pending.append(bytes, int(count));
    for (int end = m_pending.indexOf('\n'); end >= 0; end = m_pending.indexOf('\n')) {
        const QByteArray line = m_pending.left(end);
        m_pending.remove(0, end + 1);
        m_onLine(line);
    }
    return true;
}
