// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QString>

#include <memory>

class Message;
class MultipartResponder;
class MultipartResponderFactory;
class MultipartSplitter;
class Request;
class Server;

// One multipart upload. It splits the body and passes the parts to its responder. A child of the
// handler; owns the responder and the request, and deletes itself after the end of the exchange.
//
// It calls the responder's finish() at the closing boundary, before libsoup has called the normal
// handler: the responder can still set a status, or pause the exchange until its work is done.
// Without a closing boundary finish() is called at the end of the exchange. Bytes after the closing
// boundary are ignored.
class MultipartHandlerSession : public QObject {
    Q_OBJECT

public:
    MultipartHandlerSession(MultipartResponderFactory* factory, const QString& documentRoot,
                            Message* message, Server* server, QObject* parent);
    ~MultipartHandlerSession() override;

    void parseHeader(Message* message);
    // The length of the header block that comes next, -1 while it is not complete.
    int parseChunkHeader();
    // One step of the parser. Returns the number of buffered bytes, 0 when no further step is
    // possible.
    int parseChunkBuffer(bool final);
    void flushChunkBuffer();

public Q_SLOTS:
    void on_gotChunk(const char* data, unsigned int size);
    void on_finished();

private:
    bool isFailed() const { return !m_splitter; }
    void endBody();

    std::unique_ptr<Request> m_request;
    std::unique_ptr<MultipartResponder> m_responder;
    // Null when the request has no usable boundary; then the body is ignored.
    std::unique_ptr<MultipartSplitter> m_splitter;
    bool m_ended = false;
    int m_lastRequestId = 0;
};
