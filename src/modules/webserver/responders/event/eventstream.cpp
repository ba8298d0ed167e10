// SPDX-License-Identifier: MIT
#include "responders/event/eventstream.h"

#include "core/plixconnect.h"
#include "core/plixjson.h"
#include "responders/event/eventbatches.h"

#include <QIODevice>

EventStream::EventStream(EventBatches& batches, QString queueId, QIODevice* device, QObject* parent)
    : QObject(parent), m_batches(batches), m_queueId(std::move(queueId)), m_device(device) {
    plixConnect(device, &QIODevice::bytesWritten, this, &EventStream::on_device_bytesWritten);
}

EventStream::Position EventStream::readPosition(const QByteArray& lastEventId) {
    const int slash = lastEventId.lastIndexOf('/');
    bool ok = false;
    const int batch = lastEventId.mid(slash + 1).toInt(&ok);
    return slash > 0 && ok ? Position{QString::fromLatin1(lastEventId.left(slash)), batch}
                           : Position{};
}

void EventStream::begin(const Position& from) {
    const QByteArray retry = "retry: " + QByteArray::number(retryMs) + '\n';
    if (from.queueId == m_queueId && m_batches.reachesBackTo(m_queueId, from.batch)) {
        m_sent = from.batch;
        m_batches.acknowledge(m_queueId, from.batch);
        m_device->write(retry + '\n');
    } else {
        sendQueue(retry);
    }
}

void EventStream::send(const QByteArray& json) {
    if (json.isNull())
        sendQueue();
    else
        sendBatch(m_batches.add(m_queueId, json));
}

void EventStream::sendHeartbeat() {
    // Not a comment, which browsers hide from the page.
    write("event: heartbeat\n", "[]");
}

void EventStream::on_device_bytesWritten() {
    if (!m_device->isOpen() || m_device->bytesToWrite() > 0)
        return;
    if (m_sent == m_batches.last(m_queueId))
        Q_EMIT wanted();
    else if (m_batches.reachesBackTo(m_queueId, m_sent))
        sendBatch(m_sent + 1);
    else
        sendQueue();
}

void EventStream::sendQueue(const QByteArray& fields) {
    m_sent = m_batches.last(m_queueId);
    write(fields + "event: queue\n" + idField(), PlixJson::serialize(m_queueId));
}

void EventStream::sendBatch(int number) {
    m_sent = number;
    write(idField(), m_batches.batch(m_queueId, number));
}

// In one write, which is one chunk. JSON has no line breaks.
void EventStream::write(const QByteArray& fields, const QByteArray& data) {
    m_device->write(fields + "data: " + data + "\n\n");
}

QByteArray EventStream::idField() const {
    return "id: " + m_queueId.toLatin1() + '/' + QByteArray::number(m_sent) + '\n';
}
