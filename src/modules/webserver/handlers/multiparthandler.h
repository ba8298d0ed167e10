#pragma once

#include "handlers/handler.h"

#include <memory>

class MultipartResponderFactory;
class Server;

// Takes the bodies of "multipart/form-data" requests while they arrive, one session per request.
// Registered as an early handler. It answers nothing itself: unless a responder sets a status, the
// request goes on to the normal handler of its path once its body has been read, and that handler
// sees no body. Other requests pass untouched.
class MultipartHandler : public Handler {
    Q_OBJECT

public:
    // Takes over the factory. The server is the one that the handler is registered at.
    MultipartHandler(MultipartResponderFactory* factory, const QString& documentRoot,
                     Server* server, QObject* parent);
    ~MultipartHandler() override;

    void handle(Message* message) override;

private:
    std::unique_ptr<MultipartResponderFactory> m_factory;
    Server* m_server;
};
