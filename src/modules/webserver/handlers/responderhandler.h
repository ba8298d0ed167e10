// SPDX-License-Identifier: MIT
#pragma once

#include "handlers/handler.h"

#include <QHash>
#include <QPointer>
#include <QVector>

#include <memory>

class Message;
class ResponderFactory;

// Makes a responder for each request, in the next turn of the event loop; the message is paused
// until then. Owns the factory and, until a request is finalised, the responder, the request and
// the devices between them.
//
// A request is finalised at its responder's finished() or at the end of the exchange, whichever
// comes first. The second one has no effect.
class ResponderHandler : public Handler {
    Q_OBJECT

public:
    // Takes ownership of the factory.
    ResponderHandler(ResponderFactory* factory, const QString& documentRoot, QObject* parent);
    ~ResponderHandler() override;

    void handle(Message* message) override;

private Q_SLOTS:
    void finalizeRequest(int requestId);
    void finalizeRequest();

private:
    class ResponderInfo;

    void handleQueued();
    // `message` is null when it has been deleted.
    void on_handleRequest(Message* message);

    std::unique_ptr<ResponderFactory> m_factory;
    int m_lastRequestId = 0;
    QHash<int, ResponderInfo*> m_responders;
    // The messages that wait for the next turn of the loop. They may be deleted before.
    QVector<QPointer<Message>> m_queued;
};
