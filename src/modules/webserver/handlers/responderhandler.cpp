// SPDX-License-Identifier: MIT
#include "handlers/responderhandler.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"
#include "core/plixlooptask.h"
#include "request.h"
#include "responders/responder.h"
#include "responders/responderfactory.h"
#include "servermessagedevice.h"

#include <QBuffer>

#include <utility>

// The objects of one request, which are deleted together: the responder first, because it uses the
// others.
class ResponderHandler::ResponderInfo : public QObject {
public:
    ResponderInfo(const Message& message, int requestId)
        : request(message, requestId), output(&request, nullptr) {}

    Request request;
    QBuffer input;
    ServerMessageDevice output;
    std::unique_ptr<Responder> responder;
};

ResponderHandler::ResponderHandler(ResponderFactory* factory, const QString& documentRoot,
                                   QObject* parent)
    : Handler(documentRoot, parent), m_factory(factory) {}

ResponderHandler::~ResponderHandler() {
    qDeleteAll(m_responders);
}

void ResponderHandler::handle(Message* message) {
    dbglog_scopedFunction;
    // One event for all messages of this turn, because each event wakes the loop.
    if (m_queued.isEmpty())
        QMetaObject::invokeMethod(
            this, [this] { handleQueued(); }, Qt::QueuedConnection);
    m_queued.append(message);
    message->pause();
}

void ResponderHandler::handleQueued() {
    const auto messages = std::exchange(m_queued, {});
    // An answer may cause the deletion of the server, and of this handler.
    const QPointer<ResponderHandler> self(this);
    for (const QPointer<Message>& message : messages) {
        if (!self)
            return;
        on_handleRequest(message);
    }
}

void ResponderHandler::on_handleRequest(Message* message) {
    dbglog_scopedFunction;
    if (!message || !message->isValid()) {
        dbglog_debug("The exchange ended before its turn came");
        return;
    }

    const int requestId = ++m_lastRequestId;
    auto* info = new ResponderInfo(*message, requestId);
    Responder* responder = m_factory->create(info->request, documentRoot());
    info->responder.reset(responder);
    responder->setRequestId(requestId);
    const bool blockingResponder = responder->respondWillBlock();
    Q_ASSERT(!blockingResponder);
    Q_UNUSED(blockingResponder)

    info->input.open(QIODevice::ReadOnly);
    info->output.open(QIODevice::WriteOnly);
    responder->setIODevices(&info->input, &info->output);
    m_responders.insert(requestId, info);

    plixConnect(responder, &Responder::finished, this,
                qOverload<int>(&ResponderHandler::finalizeRequest));
    plixConnect(&info->request, &Message::finished, this,
                qOverload<>(&ResponderHandler::finalizeRequest));
    info->request.pause();

    const PlixLoopTask task("answer", [uri = info->request.fullUri()] { return uri; });
    dbglog_debug("Calling respond for request " << requestId);
    responder->respond();
}

void ResponderHandler::finalizeRequest(int requestId) {
    dbglog_scopedFunction;
    const auto found = m_responders.constFind(requestId);
    if (found == m_responders.constEnd()) {
        dbglog_debug("Request " << requestId << " allready finalized");
        return;
    }
    // Removed first, because closing the devices can call this function again.
    ResponderInfo* info = *found;
    m_responders.erase(found);

    info->output.close();
    info->input.close();
    dbglog_debug("Responder finished request "
                 << requestId << " status: " << info->request.status()
                 << " data size: " << info->request.responseBodyLength());
    info->deleteLater();
}

void ResponderHandler::finalizeRequest() {
    auto* request = qobject_cast<Request*>(sender());
    Q_ASSERT(request);
    finalizeRequest(request->requestId());
}
