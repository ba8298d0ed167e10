// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

class EventBatches;
class QIODevice;

// Writes the events of a queue as a stream of server-sent events (text/event-stream).
//
// The identifier of an event is that of the queue, a slash and the number of the batch. A client
// whose connection has broken sends it back in Last-Event-ID and gets what it missed. At most one
// event is on its way to the connection; while the client does not read, events stay in the queue,
// where they are merged.
class EventStream : public QObject {
    Q_OBJECT

public:
    // A place in a stream, as its client names it.
    struct Position {
        QString queueId; // empty without one
        int batch = 0;
    };

    static constexpr const char* contentType = "text/event-stream";
    // What a client waits before it connects again.
    static constexpr int retryMs = 2000;

    // The batches and the device must live as long as this object.
    EventStream(EventBatches& batches, QString queueId, QIODevice* device, QObject* parent);

    // The value of a header Last-Event-ID.
    static Position readPosition(const QByteArray& lastEventId);

    // Begins with what was missed since that batch; if that is not known, as when the client has
    // not been here before, with an event "queue": the client reads now what it shows. To be called
    // once.
    void begin(const Position& from);
    // The events that were asked for, as JSON. Null when they are too large.
    void send(const QByteArray& json);
    // Tells the client that the device is there.
    void sendHeartbeat();

Q_SIGNALS:
    // All was written, and the next events or a heartbeat are wanted.
    void wanted();

private Q_SLOTS:
    void on_device_bytesWritten();

private:
    void sendQueue(const QByteArray& fields = {});
    void sendBatch(int number);
    void write(const QByteArray& fields, const QByteArray& data);
    QByteArray idField() const;

    EventBatches& m_batches;
    const QString m_queueId;
    QIODevice* const m_device;
    int m_sent = 0;
};
