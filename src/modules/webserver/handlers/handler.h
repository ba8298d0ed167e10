// handlers/: Routing: decides who answers a message.
#pragma once

#include <QObject>
#include <QString>

class Message;

// What a server hands a request to: answers the message at once, or pauses it and arranges for it
// to be answered later. Owned by whoever built the URL map; the messages it receives are its
// children until they delete themselves.
class Handler : public QObject {
    Q_OBJECT

public:
    Handler(const QString& documentRoot, QObject* parent);
    ~Handler() override;

    QString documentRoot() const { return m_documentRoot; }
    void setDocumentRoot(const QString& documentRoot) { m_documentRoot = documentRoot; }

    // The base answers every request with 404 and a hint: it stands where a server offers nothing.
    virtual void handle(Message* message);

private:
    QString m_documentRoot;
};
