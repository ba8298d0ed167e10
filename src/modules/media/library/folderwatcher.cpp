// SPDX-License-Identifier: MIT
#include "folderwatcher.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"

#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>

namespace {

// CLOSE_WRITE instead of MODIFY: the end of a copy, not each block. ATTRIB tells that a file may be
// read now.
constexpr quint32 changes = IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE |
                            IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;

} // namespace

FolderWatcher::FolderWatcher(QObject* parent) : QObject(parent) {}

FolderWatcher::~FolderWatcher() {
    setRoot({});
}

void FolderWatcher::setRoot(const QByteArray& root) {
    m_root = root;
    m_folders.clear();
    m_watches.clear();
    m_notifier.reset();
    if (m_inotify >= 0)
        close(m_inotify);
    m_inotify = root.isEmpty() ? -1 : inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_inotify < 0) {
        if (!root.isEmpty())
            dbglog_warning("Cannot watch " << root << ": " << strerror(errno));
        return;
    }
    m_notifier = std::make_unique<QSocketNotifier>(m_inotify, QSocketNotifier::Read);
    plixConnect(m_notifier.get(), SIGNAL(activated(int)), this, SLOT(on_notifier_activated()));
}

bool FolderWatcher::watch(const QByteArray& folder) {
    if (m_inotify < 0)
        return false;
    const int watch = inotify_add_watch(m_inotify, (m_root + '/' + folder).constData(),
                                        changes | IN_ONLYDIR | IN_DONT_FOLLOW * !folder.isEmpty());
    if (watch < 0)
        return errno == ENOENT || errno == ENOTDIR || errno == EACCES;
    m_folders.insert(watch, folder);
    m_watches.insert(folder, watch);
    return true;
}

void FolderWatcher::on_notifier_activated() {
    alignas(inotify_event) char buffer[16384];
    ssize_t length = 0;
    while (m_inotify >= 0 && (length = read(m_inotify, buffer, sizeof buffer)) > 0) {
        for (ssize_t at = 0; at < length;) {
            inotify_event event{};
            std::memcpy(&event, buffer + at, sizeof event);
            handle(event.wd, event.mask,
                   event.len > 0 ? QByteArray(buffer + at + sizeof event) : QByteArray());
            at += ssize_t(sizeof event + event.len);
        }
    }
}

void FolderWatcher::handle(int watch, quint32 mask, const QByteArray& name) {
    if (mask & IN_Q_OVERFLOW) {
        Q_EMIT changesLost();
        return;
    }
    if (!m_folders.contains(watch))
        return;
    const QByteArray folder = m_folders.value(watch);
    // A watch follows its folder to another name.
    if ((mask & IN_ISDIR) && (mask & (IN_MOVED_FROM | IN_DELETE)))
        forgetBelow(folder.isEmpty() ? name : folder + '/' + name);
    if (mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF)) {
        m_folders.remove(watch);
        m_watches.remove(folder);
    }
    Q_EMIT folderChanged(folder);
}

void FolderWatcher::forgetBelow(const QByteArray& folder) {
    for (auto entry = m_watches.begin(); entry != m_watches.end();) {
        if (entry.key() != folder && !entry.key().startsWith(folder + '/')) {
            ++entry;
            continue;
        }
        inotify_rm_watch(m_inotify, *entry);
        m_folders.remove(*entry);
        entry = m_watches.erase(entry);
    }
}
