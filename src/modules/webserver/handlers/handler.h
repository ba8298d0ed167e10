// SPDX-License-Identifier: MIT

// handlers/: Routing: decides who answers a message.
#pragma once

#include <QObject>
#include <QString>

class Message;

// The receiver of the requests below a path of a server. It answers a message at once, or pauses it
// and answers later. Owned by the builder of the URL map. The messages are its children until they
// delete themselves.
class Handler : public QObject {
    Q_OBJECT

public:
    Handler(const QString& documentRoot, QObject* parent);
    ~Handler() override;

    QString documentRoot() const { return m_documentRoot; }
    void setDocumentRoot(const QString& documentRoot) { m_documentRoot = documentRoot; }

    // The base class answers every request with 404 and a hint, for paths where a server offers
    // nothing.
    virtual void handle(Message* message);

private:
    QString m_documentRoot;
};
