// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>
#include <glib.h>

// Logs the turns of GLib's default main context that take too long, with their slowest tasks. A
// turn is the time between the end of one poll and the beginning of the next one. There may be one
// object at a time, on the thread that runs the context.
class LoopMonitor {
public:
    // All clients wait during a turn. A person notices a delay of this length.
    static constexpr qint64 limitMs = 100;

    LoopMonitor();
    ~LoopMonitor();
    LoopMonitor(const LoopMonitor&) = delete;
    LoopMonitor& operator=(const LoopMonitor&) = delete;

private:
    static gint poll_function(GPollFD* descriptors, guint count, gint timeout);

    void begin();
    void end() const;

    GPollFunc m_poll;
    qint64 m_begin;
    qint64 m_processorMs = 0;
    qint64 m_processorReadAt = 0;
};
