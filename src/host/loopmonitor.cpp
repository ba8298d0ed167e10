// SPDX-License-Identifier: MIT
#include "loopmonitor.h"

#include "core/dbglog.h"
#include "core/plixlooptask.h"

#include <algorithm>
#include <ctime>

namespace {

// To read the thread's processor time is a system call, which is too expensive for every turn of a
// busy loop. It is read at this interval. The time that may have been used between the last reading
// and the turn is not counted.
constexpr qint64 processorReadIntervalMs = 10;

LoopMonitor* installed = nullptr;

qint64 processorMs() {
    timespec spent{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &spent);
    return qint64(spent.tv_sec) * 1000 + spent.tv_nsec / 1000000;
}

} // namespace

LoopMonitor::LoopMonitor() : m_poll(g_main_context_get_poll_func(nullptr)) {
    installed = this;
    begin();
    g_main_context_set_poll_func(nullptr, poll_function);
}

LoopMonitor::~LoopMonitor() {
    g_main_context_set_poll_func(nullptr, m_poll);
    installed = nullptr;
}

gint LoopMonitor::poll_function(GPollFD* descriptors, guint count, gint timeout) {
    installed->end();
    const gint result = installed->m_poll(descriptors, count, timeout);
    installed->begin();
    return result;
}

void LoopMonitor::begin() {
    m_begin = PlixLoopTurn::nowMs();
    if (m_begin - m_processorReadAt < processorReadIntervalMs)
        return;
    m_processorReadAt = m_begin;
    m_processorMs = processorMs();
}

void LoopMonitor::end() const {
    const qint64 lengthMs = PlixLoopTurn::nowMs() - m_begin;
    // Most turns, and so their tasks, are shorter than a tick of the clock.
    if (lengthMs == 0)
        return;
    const PlixLoopTurn turn = PlixLoopTurn::take();
    if (lengthMs <= limitMs)
        return;
    PlixLoopTurn::countLong();
    const qint64 before = m_begin - m_processorReadAt;
    const qint64 spentMs = std::clamp<qint64>(processorMs() - m_processorMs - before, 0, lengthMs);
    const QString tasks = turn.text();
    const QString line =
        QStringLiteral("A turn of the event loop took %1 ms, %2 ms of processor time: %3")
            .arg(QString::number(lengthMs), QString::number(spentMs),
                 tasks.isEmpty() ? QStringLiteral("nothing that has a name") : tasks);
    if (lengthMs - turn.expectedMs() > limitMs)
        dbglog_warning(line);
    else
        dbglog_info("As expected: " << line);
}
