// SPDX-License-Identifier: MIT
#pragma once

#include "handlers/handler.h"

#include <QList>
#include <QPair>
#include <QRegExp>

// Passes each message to the first handler whose predicate accepts it. Owns the predicates and the
// handlers.
class MatchHandler : public Handler {
    Q_OBJECT

public:
    // Accepts every message.
    class MessagePredicate {
    public:
        virtual bool operator()(const Message* message) const;
        virtual ~MessagePredicate() = default;
    };

    MatchHandler(const QString& documentRoot, QObject* parent);
    ~MatchHandler() override;

    // Takes ownership of both. The entries are tried in the order in which they were added.
    void addHandler(MessagePredicate* predicate, Handler* handler);
    // A handler for every message. Entries that are added later are never reached.
    void addHandler(Handler* handler);
    // For messages whose whole path the expression matches.
    void addHandler(const QRegExp& expression, Handler* handler);
    // The same with shell wildcards, in which "*" matches slashes too. Case-sensitive.
    void addHandler(const QString& wildcard, Handler* handler);

    // Does nothing with a message that no predicate accepts.
    void handle(Message* message) override;

private:
    QList<QPair<MessagePredicate*, Handler*>> m_handlers;
};

// Accepts messages whose URL path the expression matches exactly.
class RegExpMessagePredicate : public MatchHandler::MessagePredicate {
public:
    explicit RegExpMessagePredicate(const QRegExp& expression) : m_expression(expression) {}
    bool operator()(const Message* message) const override;

private:
    QRegExp m_expression;
};
