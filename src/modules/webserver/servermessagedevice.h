// SPDX-License-Identifier: MIT
#pragma once

#include "message.h"

#include <QIODevice>
#include <QList>
#include <QPointer>

// A write-only, sequential device. Each write becomes a chunk of a message's response body. A chunk
// is pending until libsoup has written it to the connection, which buffers some bytes. Streaming
// responders use bytesToWrite() and bytesWritten() for back-pressure.
//
// Not owned by the message. The end of the exchange closes it.
class ServerMessageDevice : public QIODevice {
    Q_OBJECT

public:
    ServerMessageDevice(Message* message, QObject* parent);

    bool isSequential() const override { return true; }
    // Accepts exactly read-only or write-only. False for other modes and after the end of the
    // exchange.
    bool open(OpenMode mode) override;
    // Completes the response body of a device that was open for writing.
    void close() override;
    qint64 bytesToWrite() const override;

protected:
    void connectNotify(const QMetaMethod& signal) override;
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char* data, qint64 length) override;

private Q_SLOTS:
    void on_message_wroteChunk();
    void on_message_finished();

private:
    void followChunks();
    bool hasMessage() const { return m_message && m_message->isValid(); }

    QPointer<Message> m_message;
    bool m_followsChunks = false;
    QList<qint64> m_pendingChunks;
};
