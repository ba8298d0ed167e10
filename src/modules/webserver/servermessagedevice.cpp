// SPDX-License-Identifier: MIT
#include "servermessagedevice.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"

#include <QMetaMethod>

#include <numeric>

ServerMessageDevice::ServerMessageDevice(Message* message, QObject* parent)
    : QIODevice(parent), m_message(message) {
    plixConnect(message, &Message::finished, this, &ServerMessageDevice::on_message_finished);
}

// Connects at the first write or the first receiver, because most responses do not use the device.
void ServerMessageDevice::followChunks() {
    if (m_followsChunks || !hasMessage())
        return;
    m_followsChunks = true;
    plixConnect(m_message.data(), &Message::wroteChunk, this,
                &ServerMessageDevice::on_message_wroteChunk);
}

void ServerMessageDevice::connectNotify(const QMetaMethod& signal) {
    static const QMetaMethod bytesWrittenSignal = QMetaMethod::fromSignal(&QIODevice::bytesWritten);
    if (signal == bytesWrittenSignal)
        followChunks();
}

bool ServerMessageDevice::open(OpenMode mode) {
    dbglog_scopedFunction;
    if (!hasMessage()) {
        dbglog_warning("ServerMessageDevice::open (no message)");
        return false;
    }
    if (mode != ReadOnly && mode != WriteOnly) {
        dbglog_warning("ServerMessageDevice::open (wrong mode)");
        return false;
    }
    if (!QIODevice::open(mode)) {
        dbglog_warning("ServerMessageDevice::open (error in QIODevice::open)");
        return false;
    }
    if (mode == WriteOnly)
        m_message->setEncoding(Message::Chunked);
    return true;
}

void ServerMessageDevice::close() {
    dbglog_scopedFunction;
    const OpenMode mode = openMode();
    QIODevice::close();
    if (!hasMessage()) {
        dbglog_debug("ServerMessageDevice::close (no message)");
    } else if (mode == WriteOnly) {
        dbglog_debug("ServerMessageDevice::close marking body complete");
        m_message->responseBodyComplete();
    }
}

qint64 ServerMessageDevice::bytesToWrite() const {
    return std::accumulate(m_pendingChunks.begin(), m_pendingChunks.end(), qint64(0));
}

qint64 ServerMessageDevice::writeData(const char* data, qint64 length) {
    if (!hasMessage() || m_message->isFinished()) {
        dbglog_warning("ServerMessageDevice::writeData no messge");
        return -1;
    }
    // libsoup ignores an empty chunk, and would not report it.
    if (length == 0)
        return 0;
    followChunks();
    m_pendingChunks.append(length);
    m_message->responseBodyAdd(data, length);
    return length;
}

void ServerMessageDevice::on_message_wroteChunk() {
    if (m_pendingChunks.isEmpty()) {
        dbglog_debug("on_message_wroteChunk: no chunks expected to be written (data was added to "
                     "the Message in another way than through ServerMessageDevice)");
        Q_EMIT bytesWritten(0);
        return;
    }
    Q_EMIT bytesWritten(m_pendingChunks.takeFirst());
}

void ServerMessageDevice::on_message_finished() {
    dbglog_scopedFunction;
    disconnect(m_message, &Message::wroteChunk, this, &ServerMessageDevice::on_message_wroteChunk);
    if (openMode() != WriteOnly)
        return;
    QIODevice::close();
    m_pendingChunks.clear();
    // Wakes a writer that waits for the signal. It finds the device closed.
    Q_EMIT bytesWritten(0);
}
