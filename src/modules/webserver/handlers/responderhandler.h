#pragma once

#include "handlers/handler.h"

#include <QHash>
#include <QPointer>
#include <QVector>

#include <memory>

class Message;
class ResponderFactory;

// Answers requests by responders, one per request, which it makes on the next turn of the event
// loop while the message is paused. Owns the factory and, until a request is finalised, the
// responder, the request and the devices between them.
//
// A request is finalised by its responder's finished() or by the end of the exchange, whichever
// comes first; the other one finds nothing left to do.
class ResponderHandler : public Handler {
    Q_OBJECT

public:
    // Takes over the factory.
    ResponderHandler(ResponderFactory* factory, const QString& documentRoot, QObject* parent);
    ~ResponderHandler() override;

    void handle(Message* message) override;

private Q_SLOTS:
    void finalizeRequest(int requestId);
    void finalizeRequest();

private:
    class ResponderInfo;

    void handleQueued();
    // Null when the message is gone.
    void on_handleRequest(Message* message);

    std::unique_ptr<ResponderFactory> m_factory;
    int m_lastRequestId = 0;
    QHash<int, ResponderInfo*> m_responders;
    // The messages whose turn is queued: a message may be gone when it comes.
    QVector<QPointer<Message>> m_queued;
};
