// SPDX-License-Identifier: MIT
#include "request.h"

#include "core/dbglog.h"
#include "core/plixjson.h"

namespace {

// Of a form. Each field takes some hundred bytes of memory, even if its text is empty.
constexpr int maximumFields = 1000;

QVariantHash decodeForm(const QByteArray& body) {
    QVariantHash fields;
    if (body.count('&') >= maximumFields) {
        dbglog_error("A form of more than " << maximumFields << " fields");
        return fields;
    }
    const std::unique_ptr<GHashTable, GFree<g_hash_table_unref>> table(
        soup_form_decode(body.constData()));
    GHashTableIter iterator;
    g_hash_table_iter_init(&iterator, table.get());
    void* name = nullptr;
    void* value = nullptr;
    while (g_hash_table_iter_next(&iterator, &name, &value))
        fields.insert(QString::fromUtf8(static_cast<const char*>(name)),
                      QString::fromUtf8(static_cast<const char*>(value)));
    return fields;
}

QVariantHash decodeJson(const QByteArray& body) {
    PlixError error;
    const QVariant value = PlixJson::parse(body, error);
    if (!error.isEmpty())
        dbglog_error("Error on parsing json data during post request. type: " << error.message());
    return value.toHash();
}

} // namespace

Request::Request(const MessageData& data, int requestId)
    : Message(data, nullptr), m_requestId(requestId) {}

Request::Request(const Message& message, int requestId)
    : Message(message), m_requestId(requestId) {}

const QVariantHash& Request::postData() const {
    dbglog_scopedFunction;
    if (!m_postDataParsed)
        parsePostData();
    return m_postData;
}

void Request::parsePostData() const {
    dbglog_scopedFunction;
    const QByteArray body = requestBody();
    m_postData.clear();
    m_postDataParsed = true;
    const QByteArray type = requestContentType();
    if (type == "application/x-www-form-urlencoded")
        m_postData = decodeForm(body);
    else if (type == "application/json")
        m_postData = decodeJson(body);
    else
        dbglog_warning("Unsuported content type: " << type);
}

const QHash<QString, QString>& Request::serverData() const {
    if (!m_serverDataParsed)
        parseServerData();
    return m_serverData;
}

QString Request::serverData(const QString& key) const {
    dbglog_scopedFunction;
    serverData();
    return m_serverData[key];
}

void Request::parseServerData() const {
    dbglog_scopedFunction;
    m_serverDataParsed = true;
    m_serverData = {
        {QStringLiteral("REQUEST_URI"), QString::fromUtf8(url().toEncoded())},
        {QStringLiteral("QUERY_STRING"), QString::fromUtf8(url().encodedQuery())},
        {QStringLiteral("REMOTE_ADDR"), remoteAddress()},
        {QStringLiteral("REMOTE_PORT"), QString::number(remotePort())},
    };
}
