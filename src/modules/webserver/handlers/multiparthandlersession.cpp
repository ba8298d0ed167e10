// SPDX-License-Identifier: MIT
#include "handlers/multiparthandlersession.h"

#include "core/dbglog.h"
#include "http/multipartsplitter.h"
#include "message.h"
#include "request.h"
#include "responders/multipartresponder.h"
#include "responders/multipartresponderfactory.h"

namespace {

// CR LF and two hyphens. A delimiter without more would be found all over a binary file.
constexpr int delimiterPrefix = 4;

} // namespace

MultipartHandlerSession::MultipartHandlerSession(MultipartResponderFactory* factory,
                                                 const QString& documentRoot, Message* message,
                                                 Server* server, QObject* parent)
    : QObject(parent) {
    dbglog_debug("MultipartHandlerSession will handle: " << message->fullUri());
    parseHeader(message);
    ++m_lastRequestId;
    dbglog_debug("New request with id " << m_lastRequestId);
    m_request = std::make_unique<Request>(message->data(), m_lastRequestId);
    m_responder.reset(factory->create(*m_request, documentRoot, message, server));
}

MultipartHandlerSession::~MultipartHandlerSession() = default;

void MultipartHandlerSession::parseHeader(Message* message) {
    const QByteArray delimiter = message->getDelimiterFromHeader();
    if (delimiter.size() <= delimiterPrefix) {
        dbglog_warning("Delimiter could not be extracted!");
        return;
    }
    m_splitter = std::make_unique<MultipartSplitter>(
        delimiter, [this](const QByteArray& header) { m_responder->newPart(header); },
        [this](const char* data, unsigned int size) { m_responder->partData(data, size); });
}

int MultipartHandlerSession::parseChunkHeader() {
    return isFailed() ? -1 : m_splitter->headerLength();
}

int MultipartHandlerSession::parseChunkBuffer(bool final) {
    return isFailed() ? 0 : m_splitter->step(final);
}

void MultipartHandlerSession::flushChunkBuffer() {
    while (!isFailed() && parseChunkBuffer(true) > 0) {
    }
}

void MultipartHandlerSession::on_gotChunk(const char* data, unsigned int size) {
    dbglog_scopedFunction;
    if (isFailed() || m_ended)
        return;
    m_splitter->append(data, size);
    do {
        parseChunkBuffer(false);
    } while (m_splitter->canStep());
    if (m_splitter->isAtEnd())
        endBody();
}

void MultipartHandlerSession::on_finished() {
    dbglog_scopedFunction;
    endBody();
    deleteLater();
}

void MultipartHandlerSession::endBody() {
    if (m_ended)
        return;
    m_ended = true;
    m_responder->setBodyComplete(m_splitter && m_splitter->isClosed());
    flushChunkBuffer();
    m_responder->finish();
}
