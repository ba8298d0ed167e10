// SPDX-License-Identifier: MIT

// responders/stream/: Streams that other workers write into FIFOs.
#pragma once

#include "core/model/cmreply.h"
#include "responders/responder.h"

#include <QTimer>

#include <memory>

class HangUpNotifier;
class PlixHttpRequest;
class PlixHttpRequestReply;
class PlixNamedPipe;

// Relays to the client, under /api/stream/PATH, what another worker writes into a FIFO. The
// responder makes the FIFO and writes its name to the node at PATH. The worker answers with status
// and headers and writes the body into the FIFO, or names a local file to send instead.
//
// At most one chunk is between the FIFO and the client's connection, so that a client that does not
// read stops the producer (back-pressure). The FIFO is removed at the end of the stream, after
// every failure, and at the latest by the destructor.
class StreamResponder : public Responder {
    Q_OBJECT

public:
    // How long the other worker may take to answer, and then to open the FIFO. After a silence of
    // this length in a stream, the stream ends if the client has closed its sending direction.
    // Without writing it is not known whether such a client still reads.
    static constexpr int defaultPatienceMs = 30000;

    // The number of streams of all servers at a time; further ones are answered with 503. Each
    // takes a FIFO, two descriptors and time of its worker. A page of album covers asks for 200 at
    // once.
    static constexpr int maximumStreams = 256;

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
    // Whether something was read from the FIFO: at all, and since the last time-out of the timer.
    bool m_hasStarted = false;
    bool m_isActive = false;
    // Since the last signal of the notifier.
    int m_chunksInTurn = 0;
    std::unique_ptr<HangUpNotifier> m_hangUpNotifier;
    bool m_hasClientHungUp = false;
    QTimer m_patienceTimer;
};
