// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QObject>

#include <memory>

class PlixNamedPipe;
class QIODevice;

// Copies a device into a FIFO at the speed of its reader, without blocking the event loop. Deletes
// itself at the end of the source, when the reader closes the FIFO, and after an error.
class PipeWriter : public QObject {
    Q_OBJECT

public:
    // Takes ownership of the source, which is open for reading.
    PipeWriter(const QString& pipe, std::unique_ptr<QIODevice> source, QObject* parent);
    ~PipeWriter() override;

    // False, with errno set, when the FIFO has no reader or cannot be opened.
    bool start();

private Q_SLOTS:
    void on_writeNotifier_activated(int socket);
    void on_source_readyRead();

private:
    // Copies as much as the source has and the FIFO accepts.
    void copy();
    bool flush();
    void end();

    std::unique_ptr<PlixNamedPipe> m_pipe;
    std::unique_ptr<QIODevice> m_source;
    QByteArray m_pending;
};
