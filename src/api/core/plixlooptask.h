// SPDX-License-Identifier: MIT
#pragma once

#include "plixexport.h"

#include <QString>

#include <ctime>
#include <utility>
#include <vector>

// Whether a slow task is a fault.
enum class PlixLoopTaskKind {
    Usual,
    // Known to block for long. Its time is not counted.
    Expected,
};

// The slow tasks of one turn of the event loop, for the host.
class PLIX_EXPORT PlixLoopTurn {
public:
    // Shorter tasks are not recorded.
    static constexpr int slowMs = 20;

    // Adds a finished task to the turn of the calling thread.
    static void add(PlixLoopTaskKind kind, const char* name, const QString& detail, qint64 ms);
    // Returns and clears what the calling thread has added since the last call.
    static PlixLoopTurn take();
    // Monotonic milliseconds, with the resolution of a kernel tick.
    static qint64 nowMs();

    // Counts the turns of this process that were too long; the host says when one was.
    static void countLong();
    static qint64 longTurns();

    // The longest tasks with their times, in the order of their ends; empty without tasks.
    QString text() const;
    qint64 expectedMs() const { return m_expectedMs; }

private:
    struct Task {
        QString text;
        qint64 ms;
    };

    static PlixLoopTurn& current();

    std::vector<Task> m_tasks;
    qint64 m_expectedMs = 0;
};

// Measures a part of a turn of the event loop, from its construction to the end of its scope, so
// that the host can log what made a turn too long:
//
//     const PlixLoopTask task("getData", [&] { return path.toEncoded(); });
//
// Takes two reads of a coarse clock. The detail is computed at the end of the scope, and only for a
// slow task; what it refers to must live until then. Tasks may be nested. Tasks of other threads
// are ignored.
template <typename Detail>
class PlixLoopTask {
public:
    // `name` is not copied.
    PlixLoopTask(const char* name, Detail detail, PlixLoopTaskKind kind = PlixLoopTaskKind::Usual)
        : m_name(name), m_detail(std::move(detail)), m_kind(kind) {}
    ~PlixLoopTask() {
        const qint64 ms = PlixLoopTurn::nowMs() - m_begin;
        const bool isExpected = m_kind == PlixLoopTaskKind::Expected && ms > 0;
        if (ms >= PlixLoopTurn::slowMs || isExpected)
            PlixLoopTurn::add(m_kind, m_name, m_detail(), ms);
    }
    PlixLoopTask(const PlixLoopTask&) = delete;
    PlixLoopTask& operator=(const PlixLoopTask&) = delete;

private:
    const char* m_name;
    Detail m_detail;
    PlixLoopTaskKind m_kind;
    qint64 m_begin = PlixLoopTurn::nowMs();
};

inline qint64 PlixLoopTurn::nowMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return qint64(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}
