#pragma once

#include "handlers/handler.h"

#include <QList>
#include <QPair>
#include <QRegExp>

// Passes each message to the first of its handlers whose predicate accepts it. Owns predicates and
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

    // Takes over both. Entries are tried in the order in which they were added.
    void addHandler(MessagePredicate* predicate, Handler* handler);
    // A handler for everything; it hides what is added after it.
    void addHandler(Handler* handler);
    // For messages whose whole path the expression matches.
    void addHandler(const QRegExp& expression, Handler* handler);
    // The same with shell wildcards, in which "*" crosses slashes. Case matters.
    void addHandler(const QString& wildcard, Handler* handler);

    // A message that nothing accepts is left as it is.
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
