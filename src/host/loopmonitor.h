#pragma once

#include <QtGlobal>
#include <glib.h>

// Logs the turns of GLib's default main context that take too long, with what they were spent on.
// A turn is the time between the end of one poll and the beginning of the next one. One at a time,
// on the thread that runs the context.
class LoopMonitor {
public:
    // All clients wait meanwhile, and this is what a person takes for a delay.
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
