// SPDX-License-Identifier: MIT
#include "core/plixlooptask.h"

#include <QStringList>

#include <algorithm>
#include <atomic>
#include <utility>

namespace {

// The slowest tasks are enough for a line of the log.
constexpr std::size_t maximumTasks = 5;

std::atomic<qint64> tooLong{0};

} // namespace

void PlixLoopTurn::countLong() {
    ++tooLong;
}

qint64 PlixLoopTurn::longTurns() {
    return tooLong;
}

PlixLoopTurn& PlixLoopTurn::current() {
    thread_local PlixLoopTurn turn;
    return turn;
}

void PlixLoopTurn::add(PlixLoopTaskKind kind, const char* name, const QString& detail, qint64 ms) {
    PlixLoopTurn& turn = current();
    if (kind == PlixLoopTaskKind::Expected)
        turn.m_expectedMs += ms;
    const QString text =
        QStringLiteral("%1 %2 (%3 ms)").arg(QLatin1String(name), detail, QString::number(ms));
    turn.m_tasks.push_back({text, ms});
    if (turn.m_tasks.size() > maximumTasks) {
        const auto isShorter = [](const Task& left, const Task& right) {
            return left.ms < right.ms;
        };
        turn.m_tasks.erase(std::min_element(turn.m_tasks.begin(), turn.m_tasks.end(), isShorter));
    }
}

PlixLoopTurn PlixLoopTurn::take() {
    return std::exchange(current(), {});
}

QString PlixLoopTurn::text() const {
    QStringList texts;
    for (const Task& task : m_tasks)
        texts.append(task.text);
    return texts.join(QStringLiteral(", "));
}
