// SPDX-License-Identifier: MIT
#pragma once

#include "core/model/cmerror.h"
#include "playertrack.h"

#include <QVariant>
#include <QVector>

#include <optional>

class PlayQueue;

// What clients ask of the queue. Each command takes the value that was written, and gives an error,
// which is empty when the command was carried out; otherwise the queue is as before.
//
// ROW is {"id": ID}, or {"index": N} for those who have just read the list. A place is "after": the
// id of the row before it, empty for the beginning; or an index ("toIndex" when moving). Any
// command may have the "version" of the list that it was made for; it is refused when the list is
// another.
class QueueCommands {
public:
    // The queue must outlive the commands.
    explicit QueueCommands(PlayQueue* queue) : m_queue(queue) {}

    // Takes a place; without one the tracks are appended.
    CMError insert(const QVariant& argument, const QVector<PlayerTrack>& tracks) const;
    CMError remove(const QVariant& argument) const;
    // Takes a row and a place.
    CMError move(const QVariant& argument) const;
    CMError clear(const QVariant& argument) const;
    CMError restore(const QVariant& argument) const;

    // False, with the error set, when the argument is for another version of the list.
    bool isForThisVersion(const QVariant& argument, CMError* error) const;
    // Empty, with the error set, when the argument names no row of the queue as it is now.
    std::optional<int> rowNamed(const QVariant& argument, CMError* error) const;
    static CMError queueIsFull();

private:
    // The index of a new row, the end when nothing is said, or of a row that is moved; empty, with
    // the error set, when there is no such place.
    std::optional<int> placeNamed(const QVariant& argument, CMError* error) const;
    std::optional<int> targetNamed(const QVariant& argument, int from, CMError* error) const;
    std::optional<int> placeBehind(const QVariant& id, CMError* error) const;

    PlayQueue* m_queue;
};
