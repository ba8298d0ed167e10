#pragma once

#include <QString>

#include <ctime>
#include <utility>
#include <vector>

// How the host judges a task that was slow.
enum class PlixLoopTaskKind {
    Usual,
    // Known to block for long. Its time is not held against the turn.
    Expected,
};

// The slow tasks of one turn of the event loop, for the host.
class PlixLoopTurn {
public:
    // Whatever takes less cannot make a turn long on its own.
    static constexpr int slowMs = 20;

    // Adds a task of the calling thread's turn that has ended.
    static void add(PlixLoopTaskKind kind, const char* name, const QString& detail, qint64 ms);
    // What was added since the last call, on the calling thread.
    static PlixLoopTurn take();
    // Monotonic milliseconds, exact to one tick of the kernel.
    static qint64 nowMs();

    // The longest ones with their times, in the order of their ends; empty without any.
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

// A part of a turn of the event loop, from its construction to the end of its scope. Tells the host
// what a turn was spent on when that took too long:
//
//     const PlixLoopTask task("getData", [&] { return path.toEncoded(); });
//
// Costs two reads of a coarse clock. The detail is asked for at the end of the scope, and only when
// the task was slow: what it refers to must live until then. Tasks may stand inside of others.
// Those of other threads than the loop's are ignored.
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
