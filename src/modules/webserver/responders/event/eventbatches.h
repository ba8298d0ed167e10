// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <deque>
#include <list>

// The events that were sent to clients which say how far they have come, until they say so: a
// client whose connection has broken gets what was lost on the way.
//
// A batch is what a queue delivered at a time, as JSON. The batches of a queue are numbered from 1.
class EventBatches {
public:
    // A client that is further behind has to read everything again.
    static constexpr qint64 maximumBytesPerQueue = qint64(64) * 1024;
    static constexpr qint64 maximumBytes = qint64(4) * 1024 * 1024;

    // The number of the latest batch; 0 without one.
    int last(const QString& queueId) const;
    // Returns the batch's number. The oldest batches are dropped: of the queue, then of the one
    // whose latest batch is the oldest.
    int add(const QString& queueId, const QByteArray& json);
    // Drops the batches up to this one, which have arrived.
    void acknowledge(const QString& queueId, int number);
    // Whether all that came behind the batch of this number is still here.
    bool reachesBackTo(const QString& queueId, int number) const;
    // Null when it is not here.
    QByteArray batch(const QString& queueId, int number) const;
    void remove(const QString& queueId);

private:
    struct Queue {
        int last = 0;
        qint64 bytes = 0;
        // Up to the last one.
        std::deque<QByteArray> batches;
        std::list<QString>::iterator age;
    };

    void dropFirst(Queue& queue);

    QHash<QString, Queue> m_queues;
    // Their identifiers, the one whose latest batch is the oldest first.
    std::list<QString> m_byAge;
    qint64 m_bytes = 0;
};
