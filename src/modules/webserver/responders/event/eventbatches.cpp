// SPDX-License-Identifier: MIT
#include "responders/event/eventbatches.h"

int EventBatches::last(const QString& queueId) const {
    const auto queue = m_queues.constFind(queueId);
    return queue == m_queues.constEnd() ? 0 : queue->last;
}

int EventBatches::add(const QString& queueId, const QByteArray& json) {
    Queue& queue = m_queues[queueId];
    if (queue.last > 0)
        m_byAge.erase(queue.age);
    queue.age = m_byAge.insert(m_byAge.end(), queueId);

    queue.batches.push_back(json);
    queue.bytes += json.size();
    m_bytes += json.size();
    while (queue.bytes > maximumBytesPerQueue && queue.batches.size() > 1)
        dropFirst(queue);
    for (auto oldest = m_byAge.begin(); m_bytes > maximumBytes && *oldest != queueId; ++oldest) {
        Queue& other = m_queues[*oldest];
        while (!other.batches.empty())
            dropFirst(other);
    }
    return ++queue.last;
}

void EventBatches::acknowledge(const QString& queueId, int number) {
    const auto queue = m_queues.find(queueId);
    if (queue == m_queues.end())
        return;
    while (!queue->batches.empty() && queue->last - int(queue->batches.size()) < number)
        dropFirst(*queue);
}

bool EventBatches::reachesBackTo(const QString& queueId, int number) const {
    const auto queue = m_queues.constFind(queueId);
    if (queue == m_queues.constEnd())
        return number == 0;
    return number <= queue->last && number >= queue->last - int(queue->batches.size());
}

QByteArray EventBatches::batch(const QString& queueId, int number) const {
    const auto queue = m_queues.constFind(queueId);
    if (queue == m_queues.constEnd() || number > queue->last)
        return QByteArray();
    const int behind = queue->last - number;
    const auto count = int(queue->batches.size());
    return behind < count ? queue->batches[std::size_t(count - 1 - behind)] : QByteArray();
}

void EventBatches::remove(const QString& queueId) {
    const auto queue = m_queues.find(queueId);
    if (queue == m_queues.end())
        return;
    m_bytes -= queue->bytes;
    m_byAge.erase(queue->age);
    m_queues.erase(queue);
}

void EventBatches::dropFirst(Queue& queue) {
    queue.bytes -= queue.batches.front().size();
    m_bytes -= queue.batches.front().size();
    queue.batches.pop_front();
}
