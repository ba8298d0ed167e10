// responders/stream/: Streams that other workers write into FIFOs.
#pragma once

#include "core/model/cmreply.h"
#include "responders/responder.h"

#include <QTimer>

#include <memory>

class HangUpWatch;
class PlixHttpRequest;
class PlixHttpRequestReply;
class PlixNamedPipe;

// Relays what another worker writes into a FIFO to the client, under /api/stream/PATH: the node at
// PATH is asked to perform the request and to write the body into the FIFO that is made here; its
// answer says what the response looks like, or names a local file to be sent instead.
//
// At most one chunk is between the FIFO and the client's connection, so that a client that does not
// read stops the producer. The FIFO goes with the end of the stream, with every failure, and at
// the latest with the responder.
class StreamResponder : public Responder {
    Q_OBJECT

public:
    // How long the other worker may take to answer, and after that to open the FIFO: one that is
    // gone must not hold FIFO and client for ever. A producer that stays silent for as long loses
    // a client that seems to have left; whether it has shows only when something is written.
    static constexpr int defaultPatienceMs = 30000;

    // Streams of all servers at a time; further ones are refused with 503. Each takes a FIFO and
    // two descriptors, and its worker's time.
    static constexpr int maximumStreams = 64;

    StreamResponder(Request& request, const QString& documentRoot,
                    int patienceMs = defaultPatienceMs, QObject* parent = nullptr);
    ~StreamResponder() override;

    void respond() override;
    bool respondWillBlock() override { return false; }
    void setRequestId(int requestId) override { m_requestId = requestId; }

private Q_SLOTS:
    void on_httpRequest_finishedSignal(const CMVoidReply& reply);
    void on_pipeNotifier_activated(int socket);
    void on_outDevice_bytesWritten(qint64 bytes);

private:
    class Place;

    bool createPipe();
    PlixHttpRequest httpRequest() const;
    void on_patienceTimer_timeout();
    void lookAfterSilentStream();
    void serveFile(const PlixHttpRequestReply& reply);
    void startStreaming(const PlixHttpRequestReply& reply);
    void setHeaders(const QVariantHash& headers);
    void readPipe();
    void relay(const char* data, qint64 length);
    void endOfStream();
    void fail(int status);
    void release();
    void finish();

    int m_requestId = 0;
    std::unique_ptr<Place> m_place;
    std::unique_ptr<PlixNamedPipe> m_pipe;
    // Bytes of the announced content length that are still to come; negative without one.
    qint64 m_remaining = -1;
    bool m_isStreaming = false;
    // Something came out of the FIFO: ever, and since the timer last looked.
    bool m_hasStarted = false;
    bool m_isActive = false;
    // Since the notifier last fired.
    int m_chunksInTurn = 0;
    std::unique_ptr<HangUpWatch> m_hangUpWatch;
    bool m_hasClientHungUp = false;
    QTimer m_patienceTimer;
};
