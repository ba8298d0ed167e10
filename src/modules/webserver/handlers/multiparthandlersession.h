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

// One multipart upload: splits the chunks of its body and gives the parts to a responder of its
// own. Child of the handler; owns the responder and the request, and deletes itself after the end
// of the exchange.
//
// The responder hears of the end of the body as soon as its closing boundary is there, because
// then it can still answer, and hold back the answer until it is done; without a closing boundary
// it hears of it at the end of the exchange. What follows the closing boundary is ignored.
class MultipartHandlerSession : public QObject {
    Q_OBJECT

public:
    MultipartHandlerSession(MultipartResponderFactory* factory, const QString& documentRoot,
                            Message* message, Server* server, QObject* parent);
    ~MultipartHandlerSession() override;

    void parseHeader(Message* message);
    // The length of the part header block that has arrived, -1 while it is not complete.
    int parseChunkHeader();
    // One step of the parser; the bytes that are left, 0 when nothing can be done with them.
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
    // Null in a session whose request has no usable boundary; such a session ignores its body.
    std::unique_ptr<MultipartSplitter> m_splitter;
    bool m_ended = false;
    int m_lastRequestId = 0;
};
