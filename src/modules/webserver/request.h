// SPDX-License-Identifier: MIT
#pragma once

#include "message.h"

#include <QHash>
#include <QVariantHash>

// The exchange as a responder sees it: a second Message over the same exchange, with a number, the
// parsed request body and a few server variables. Owned by the responder's handler. The parsed
// tables can be read after the end of the exchange.
class Request : public Message {
    Q_OBJECT

public:
    Request(const MessageData& data, int requestId);
    // Over the exchange of another message, whose URL it copies.
    Request(const Message& message, int requestId);

    int requestId() const { return m_requestId; }

    // The fields of a form body or the members of a JSON object body; empty for every other body.
    // Parsed on the first call.
    const QVariantHash& postData() const;
    void parsePostData() const;

    // REQUEST_URI, QUERY_STRING, REMOTE_ADDR, REMOTE_PORT. An unknown key reads as empty.
    const QHash<QString, QString>& serverData() const;
    QString serverData(const QString& key) const;
    void parseServerData() const;

private:
    int m_requestId;
    mutable QVariantHash m_postData;
    mutable QHash<QString, QString> m_serverData;
    mutable bool m_postDataParsed = false;
    mutable bool m_serverDataParsed = false;
};
