#pragma once

#include "core/plixnamedpipe.h"
#include "responders/firmwareupdatedrain.h"
#include "responders/multipartresponder.h"
#include "server.h"

#include <QPointer>
#include <QTimer>

#include <memory>

// Streams an uploaded firmware image into the updater's FIFO, for uploads whose URL has the query
// item "firmwareupdate"; the parts of others are dropped.
//
// Each part is written from a fresh opening of the FIFO. While the FIFO is full the exchange is
// paused, so that the client is read no faster than the updater reads. At the end of a part what
// is left of it goes to a FirmwareUpdateDrain, and so do the parts that follow, because their turn
// comes only when the updater has seen the end of the one before; the answer waits for it. One
// upload at a time has the updater; another one is answered with 503.
class FirmwareUpdateResponder : public MultipartResponder {
    Q_OBJECT

public:
    FirmwareUpdateResponder(Request& request, const QString& documentRoot, Message* message,
                            Server* server);
    ~FirmwareUpdateResponder() override;

    void respond() override;
    void newPart(const QByteArray& headers) override;
    void partData(const char* data, unsigned int length) override;
    void finish() override;

    // Opens the updater's FIFO. Sleeps between its attempts.
    void openFile();
    // Ends the part; what is left of it is still written.
    void closeFile();
    // Gives the upload up: the rest of it is read and dropped, and answered with 500.
    void cancelTransfer();
    // Writes so many bytes from the front of the buffer. False when some are left because the FIFO
    // is full, or when the transfer has failed.
    bool writeDataToUpdater(unsigned int length);

private Q_SLOTS:
    void on_writeNotifier_activated(int socket);
    void on_drain_drained();
    void on_drain_finished(bool complete);
    void on_stallTimer_timeout();

private:
    void writeCollected();
    void pauseMessage(bool pause);
    void refuse(int status, const QString& text);

    QPointer<Message> m_message;
    QPointer<Server> m_server;
    QByteArray m_partHeaders;
    QByteArray m_buffer;
    std::unique_ptr<PlixNamedPipe> m_pipe;
    bool m_active;
    bool m_updaterIsMissing = false;
    bool m_paused = false;
    bool m_isWriteQueued = false;
    UpdaterLock m_lock;
    QPointer<FirmwareUpdateDrain> m_drain;
    // While the FIFO is full, since the updater took something.
    QTimer m_stallTimer;
};
