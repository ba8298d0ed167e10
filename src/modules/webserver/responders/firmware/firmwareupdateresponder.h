// responders/firmware/: Firmware uploads, written into the updater's FIFO.
#pragma once

#include "message.h"
#include "responders/firmware/firmwareupdatewriter.h"
#include "responders/multipartresponder.h"

#include <QPointer>
#include <QTimer>

class Server;

// Streams an uploaded firmware image to the updater, for uploads whose URL has the query item
// "firmwareupdate"; the parts of others are dropped.
//
// It decides who may upload, how slowly and how many parts, and gives the bytes to a
// FirmwareUpdateWriter. While that is full the exchange is paused, so that the client is read no
// faster than the updater reads; the answer waits until the updater has the image. One upload at a
// time has the updater; another one is answered with 503.
class FirmwareUpdateResponder : public MultipartResponder {
    Q_OBJECT

public:
    // Each part is an image to the updater, and a form for it has one file. A few fields beside
    // that do no harm; a body of nothing but empty parts would keep the updater busy for minutes.
    static constexpr int maximumParts = 16;

    // The least that a client has to send of an upload within the time, in which it is not held
    // back: one that sends next to nothing must not lock others out of the updater. The poorest
    // radio link within a house manages several times as much.
    static constexpr qint64 minimumBytes = qint64(1) << 20;
    static constexpr int defaultMinimumBytesMs = 60000;

    // The server, which the factory gives to every responder, is not used: a message pauses itself.
    FirmwareUpdateResponder(Request& request, const QString& documentRoot, Message* message,
                            Server*, int minimumBytesMs = defaultMinimumBytesMs);
    ~FirmwareUpdateResponder() override;

    void respond() override;
    void newPart(const QByteArray& headers) override;
    void partData(const char* data, unsigned int length) override;
    void finish() override;

    // Has the updater's FIFO opened for the next part.
    void openFile();
    // Hands on what has been collected of the part that ends.
    void closeFile();
    // Gives the upload up: the rest of it is read and dropped, and answered with 500.
    void cancelTransfer();
    // Hands on so many bytes from the front of the buffer. False when some of them wait because the
    // FIFO is full, or when the transfer has failed.
    bool writeDataToUpdater(unsigned int length);

private Q_SLOTS:
    void on_writer_roomMade();
    void on_writer_finished(FirmwareUpdateWriter::Outcome outcome);
    void on_minimumTimer_timeout();

private:
    bool takeUpdater();
    void writeCollected();
    void updatePause();
    void pauseMessage(bool pause);
    void giveUp(int status, const QString& text);

    QPointer<Message> m_message;
    QByteArray m_partHeaders;
    QByteArray m_buffer;
    bool m_active;
    bool m_updaterIsMissing = false;
    bool m_paused = false;
    bool m_isWriteQueued = false;
    int m_parts = 0;
    QPointer<FirmwareUpdateWriter> m_writer;
    QTimer m_minimumTimer;
    // Since that last fired.
    qint64 m_recentBytes = 0;
    bool m_wasPaused = false;
};
