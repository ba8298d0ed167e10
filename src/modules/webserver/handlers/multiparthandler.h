// SPDX-License-Identifier: MIT
#pragma once

#include "handlers/handler.h"

#include <memory>

class MultipartResponderFactory;
class Server;

// Parses the bodies of "multipart/form-data" requests while they arrive, with one session for each
// request. Registered as an early handler. It does not answer: unless a responder sets a status,
// libsoup calls the normal handler of the path after the body, and that handler sees no body. Other
// requests are not changed.
class MultipartHandler : public Handler {
    Q_OBJECT

public:
    // Takes ownership of the factory. `server`: where the handler is registered.
    MultipartHandler(MultipartResponderFactory* factory, const QString& documentRoot,
                     Server* server, QObject* parent);
    ~MultipartHandler() override;

    void handle(Message* message) override;

private:
    std::unique_ptr<MultipartResponderFactory> m_factory;
    Server* m_server;
};
