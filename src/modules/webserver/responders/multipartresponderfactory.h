// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

class Message;
class MultipartResponder;
class Request;
class Server;

// Makes a responder for each upload.
class MultipartResponderFactory {
public:
    // A new responder, owned by the caller.
    virtual MultipartResponder* create(Request& request, const QString& documentRoot,
                                       Message* message, Server* server) = 0;
    virtual ~MultipartResponderFactory() = default;
};

template <typename T>
class DefaultMultipartResponderFactory : public MultipartResponderFactory {
public:
    MultipartResponder* create(Request& request, const QString& documentRoot, Message* message,
                               Server* server) override {
        return new T(request, documentRoot, message, server);
    }
};
