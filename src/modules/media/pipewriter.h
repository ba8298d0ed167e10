#pragma once

#include <QByteArray>
#include <QObject>

#include <memory>

class PlixNamedPipe;
class QIODevice;

// Copies a device into a FIFO that somebody reads, as fast as that reader takes it, without holding
// up the event loop. Deletes itself when the source ends, the reader leaves or something fails.
class PipeWriter : public QObject {
    Q_OBJECT

public:
    // Takes the source over, which is open for reading.
    PipeWriter(const QString& pipe, std::unique_ptr<QIODevice> source, QObject* parent);
    ~PipeWriter() override;

    // False, with errno set, when nobody reads the FIFO or it cannot be opened.
    bool start();

private Q_SLOTS:
    void on_writeNotifier_activated(int socket);
    void on_source_readyRead();

private:
    // Moves what source and reader are ready for.
    void copy();
    bool flush();
    void end();

    std::unique_ptr<PlixNamedPipe> m_pipe;
    std::unique_ptr<QIODevice> m_source;
    QByteArray m_pending;
};
