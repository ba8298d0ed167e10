// SPDX-License-Identifier: MIT
#include "responders/firmware/readerclosenotifier.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"

#include <QFile>
#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

ReaderCloseNotifier::ReaderCloseNotifier(const QString& fifo)
    : m_descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (m_descriptor < 0 || inotify_add_watch(m_descriptor, QFile::encodeName(fifo).constData(),
                                              IN_CLOSE_NOWRITE) < 0) {
        dbglog_warning(fifo << " cannot be monitored: " << std::strerror(errno));
        return;
    }
    auto* notifier = new QSocketNotifier(m_descriptor, QSocketNotifier::Read, this);
    plixConnect(notifier, SIGNAL(activated(int)), this, SLOT(on_notifier_activated(int)));
}

ReaderCloseNotifier::~ReaderCloseNotifier() {
    // The notifier is deleted before its descriptor is closed.
    qDeleteAll(findChildren<QSocketNotifier*>());
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

void ReaderCloseNotifier::on_notifier_activated(int) {
    // All events are of the same file and kind; their number does not matter.
    std::array<char, 4096> events;
    if (::read(m_descriptor, events.data(), events.size()) > 0)
        Q_EMIT readerClosed();
}
