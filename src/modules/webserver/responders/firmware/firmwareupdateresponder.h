// SPDX-License-Identifier: MIT

// responders/firmware/: Firmware uploads, written into the updater's FIFO.
#pragma once

#include "message.h"
#include "responders/firmware/firmwareupdatewriter.h"
#include "responders/multipartresponder.h"

#include <QPointer>
#include <QTimer>

class Server;

// Streams an uploaded firmware image to the updater if the URL has the query item "firmwareupdate".
// The parts of other uploads are dropped.
//
// It checks that there is one upload at a time (another one is answered with 503), that it is not
// too slow, and the number of its parts. It passes the bytes to a FirmwareUpdateWriter, and pauses
// the exchange while that is full, so that it reads from the client no faster than the updater
// reads. The response waits until the updater has read the image.
class FirmwareUpdateResponder : public MultipartResponder {
    Q_OBJECT

public:
    // Each part is an image for the updater. A form has one file and perhaps a few fields. A body
    // with many empty parts would occupy the updater for minutes.
    static constexpr int maximumParts = 16;

    // The minimum that a client has to send within the time, unless the exchange is paused. A
    // client that sends almost nothing (slowloris) must not lock others out of the updater. A weak
    // radio link is still several times faster.
    static constexpr qint64 minimumBytes = qint64(1) << 20;
    static constexpr int defaultMinimumBytesMs = 60000;

    // The server is an argument of all factories. It is not used here: the message pauses itself.
    FirmwareUpdateResponder(Request& request, const QString& documentRoot, Message* message,
                            Server*, int minimumBytesMs = defaultMinimumBytesMs);
    ~FirmwareUpdateResponder() override;

    void respond() override;
    void newPart(const QByteArray& headers) override;
    void partData(const char* data, unsigned int length) override;
    void finish() override;

    // Begins the next part, for which the updater's FIFO is opened.
    void openFile();
    // Ends the last part. The updater still reads what it has not read.
    void closeFile();
    // Cancels the upload: the rest of the body is read and dropped, and the status is 500.
    void cancelTransfer();
    // False when the FIFO is full and many bytes wait, or when the transfer has failed.
    bool writeDataToUpdater(const char* data, unsigned int length);

private Q_SLOTS:
    void on_writer_roomMade();
    void on_writer_finished(FirmwareUpdateWriter::Outcome outcome);
    void on_minimumTimer_timeout();

private:
    bool takeUpdater();
    void updatePause();
    void pauseMessage(bool pause);
    void giveUp(int status, const QString& text);

    QPointer<Message> m_message;
    QByteArray m_partHeaders;
    bool m_active;
    bool m_paused = false;
    int m_parts = 0;
    QPointer<FirmwareUpdateWriter> m_writer;
    QTimer m_minimumTimer;
    // Since the last time-out of that timer.
    qint64 m_recentBytes = 0;
    bool m_wasPaused = false;
};
