#pragma once

#include <QFile>

#include <sys/inotify.h>
#include <unistd.h>

// Tells whether a file was opened, or its contents came from a cache.
class OpenWatch {
public:
    explicit OpenWatch(const QString& fileName)
        : m_descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        inotify_add_watch(m_descriptor, QFile::encodeName(fileName).constData(), IN_OPEN);
    }
    ~OpenWatch() { close(m_descriptor); }

    // Since the last time.
    bool wasOpened() {
        char events[4096];
        bool result = false;
        while (read(m_descriptor, events, sizeof events) > 0)
            result = true;
        return result;
    }

private:
    int m_descriptor;
};
