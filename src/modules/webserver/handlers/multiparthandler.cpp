// SPDX-License-Identifier: MIT
#include "handlers/multiparthandler.h"

#include "core/dbglog.h"
#include "core/plixconnect.h"
#include "handlers/multiparthandlersession.h"
#include "message.h"
#include "responders/multipartresponderfactory.h"

MultipartHandler::MultipartHandler(MultipartResponderFactory* factory, const QString& documentRoot,
                                   Server* server, QObject* parent)
    : Handler(documentRoot, parent), m_factory(factory), m_server(server) {}

MultipartHandler::~MultipartHandler() {
    // Before the factory, which has made the responders of the sessions.
    qDeleteAll(findChildren<MultipartHandlerSession*>());
}

void MultipartHandler::handle(Message* message) {
    dbglog_scopedFunction;
    if (!message->isMultipart())
        return;
    auto* session =
        new MultipartHandlerSession(m_factory.get(), documentRoot(), message, m_server, this);
    const QByteArray body = message->requestBody();
    if (!body.isEmpty())
        session->on_gotChunk(body.constData(), static_cast<unsigned int>(body.size()));
    if (message->isFinished()) {
        session->on_finished();
        return;
    }
    message->setAccumulate(false);
    plixConnect(message, SIGNAL(gotChunk(const char*, unsigned int)), session,
                SLOT(on_gotChunk(const char*, unsigned int)), Qt::AutoConnection);
    plixConnect(message, SIGNAL(finished()), session, SLOT(on_finished()), Qt::AutoConnection);
}
