// SPDX-License-Identifier: MIT
#pragma once

#include <QFile>

#include <sys/inotify.h>
#include <unistd.h>

// Counts how often a file is opened, or what lies in a folder.
class OpenWatch {
public:
    explicit OpenWatch(const QString& fileName)
        : m_descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        inotify_add_watch(m_descriptor, QFile::encodeName(fileName).constData(), IN_OPEN);
    }
    ~OpenWatch() { close(m_descriptor); }

    // Since the last call.
    int count() {
        alignas(inotify_event) char events[4096];
        int opened = 0;
        for (ssize_t size; (size = read(m_descriptor, events, sizeof events)) > 0;) {
            for (ssize_t at = 0; at < size; ++opened)
                at += ssize_t(sizeof(inotify_event)) +
                      reinterpret_cast<const inotify_event*>(events + at)->len;
        }
        return opened;
    }

private:
    int m_descriptor;
};
