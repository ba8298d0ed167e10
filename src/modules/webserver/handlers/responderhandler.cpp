#include "handlers/responderhandler.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"
#include "request.h"
#include "responders/responder.h"
#include "responders/responderfactory.h"
#include "servermessagedevice.h"

#include <QBuffer>

ResponderHandler::ResponderHandler(ResponderFactory* factory, const QString& documentRoot,
                                   QObject* parent)
    : Handler(documentRoot, parent), m_factory(factory) {}

ResponderHandler::~ResponderHandler() {
    for (const ResponderInfo& info : qAsConst(m_responders)) {
        delete info.responder;
        delete info.output;
        delete info.input;
        delete info.request;
    }
}

void ResponderHandler::handle(Message* message) {
    dbglog_scopedFunction;
    m_queued.insert(message, message);
    QMetaObject::invokeMethod(this, "on_handleRequest", Qt::QueuedConnection,
                              Q_ARG(void*, message));
    message->pause();
}

void ResponderHandler::on_handleRequest(void* queued) {
    dbglog_scopedFunction;
    const QPointer<Message> message = m_queued.take(queued);
    if (!message || !message->isValid()) {
        dbglog_debug("The exchange ended before its turn came");
        return;
    }

    const int requestId = ++m_lastRequestId;
    auto* request = new Request(message->data(), requestId);
    Responder* responder = m_factory->create(*request, documentRoot());
    responder->setRequestId(requestId);
    const bool blockingResponder = responder->respondWillBlock();
    Q_ASSERT(!blockingResponder);
    Q_UNUSED(blockingResponder)

    auto* buffer = new QBuffer;
    buffer->open(QIODevice::ReadOnly);
    auto* device = new ServerMessageDevice(request, nullptr);
    device->open(QIODevice::WriteOnly);
    responder->setIODevices(buffer, device);
    m_responders.insert(requestId, {responder, request, buffer, device});

    plixConnect(responder, SIGNAL(finished(int)), this, SLOT(finalizeRequest(int)));
    plixConnect(request, SIGNAL(finished()), this, SLOT(finalizeRequest()));
    request->pause();

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
    // Taken out first: closing the devices can bring the call here again.
    const ResponderInfo info = *found;
    m_responders.erase(found);

    info.output->close();
    info.input->close();
    dbglog_debug("Responder finished request "
                 << requestId << " status: " << info.request->status()
                 << " data size: " << info.request->responseBodyLength());
    info.responder->deleteLater();
    info.request->deleteLater();
    info.input->deleteLater();
    info.output->deleteLater();
}

void ResponderHandler::finalizeRequest() {
    auto* request = qobject_cast<Request*>(sender());
    Q_ASSERT(request);
    finalizeRequest(request->requestId());
}
