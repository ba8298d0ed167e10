// SPDX-License-Identifier: MIT
#include "handlers/matchhandler.h"

#include "core/dbglog.h"
#include "message.h"

bool MatchHandler::MessagePredicate::operator()(const Message*) const {
    return true;
}

bool RegExpMessagePredicate::operator()(const Message* message) const {
    return m_expression.exactMatch(message->url().path());
}

MatchHandler::MatchHandler(const QString& documentRoot, QObject* parent)
    : Handler(documentRoot, parent) {}

MatchHandler::~MatchHandler() {
    const auto handlers = m_handlers;
    for (const auto& entry : handlers)
        delete entry.first;
}

void MatchHandler::addHandler(MessagePredicate* predicate, Handler* handler) {
    dbglog_scopedFunction;
    dbglog_debug("MatchHandler::addHandler: adding handler " << handler);
    handler->setParent(this);
    m_handlers.append({predicate, handler});
}

void MatchHandler::addHandler(Handler* handler) {
    dbglog_scopedFunction;
    dbglog_debug("MatchHandler::addHandler: adding default handler ");
    addHandler(new MessagePredicate, handler);
}

void MatchHandler::addHandler(const QRegExp& expression, Handler* handler) {
    dbglog_scopedFunction;
    addHandler(new RegExpMessagePredicate(expression), handler);
}

void MatchHandler::addHandler(const QString& wildcard, Handler* handler) {
    dbglog_scopedFunction;
    addHandler(QRegExp(wildcard, Qt::CaseSensitive, QRegExp::WildcardUnix), handler);
}

void MatchHandler::handle(Message* message) {
    dbglog_scopedFunction;
    // A copy, because a handler may add another one.
    const auto handlers = m_handlers;
    for (const auto& [predicate, handler] : handlers) {
        if ((*predicate)(message)) {
            dbglog_debug("MatchHandler::handle: found handler " << handler);
            handler->handle(message);
            return;
        }
    }
    dbglog_debug("MatchHandler::handle: no handler for request found!");
}
