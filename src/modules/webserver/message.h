// SPDX-License-Identifier: MIT

// message.h: One HTTP exchange as handlers see it: the request, its response, and a device that
// streams into it.
#pragma once

#include "core/plixurl.h"
#include "glibptr.h"
#include "responsebody.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <libsoup/soup.h>

#include <memory>

// The arguments of libsoup's server callback. Nothing is owned; all of it is valid only until the
// exchange has finished, `path` and `query` only until the callback returns.
struct MessageData {
    SoupServer* server;
    SoupMessage* message;
    const char* path;
    GHashTable* query;
    SoupClientContext* client;
};

// One HTTP exchange: reads the request and writes the response, for handlers and responders.
//
// The server callback makes one per request, with the request's handler as its parent. It deletes
// itself, from the event loop, after the exchange has ended; nobody else does. Once finished() has
// been emitted the exchange may be gone: then every operation on the response does nothing, every
// reading of the request gives an empty result, and only the URL and the flags remain. Handlers
// that answer later keep a QPointer, or end their work at finished().
//
// A handler that wants to answer later pauses the message; whatever is added to the body resumes
// it.
class Message : public QObject {
    Q_OBJECT

public:
    enum Encoding { ContentLength = 0, Chunked = 1 };

    Message(const MessageData& data, QObject* parent);
    // A second view of the same exchange, which hears of its events by itself.
    Message(const Message& other);
    ~Message() override;

    const MessageData& data() const { return m_data; }
    // True until the exchange has finished and finished() has been delivered.
    bool isValid() const { return m_valid; }
    // True from the moment the exchange ends; receivers of finished() still see a valid message.
    bool isFinished() const { return m_finished; }
    // Deletes the message from the event loop, once the exchange has ended.
    void deleteWhenFinished();
    // Called when libsoup's callback returns, which is when libsoup frees its arguments.
    void forgetCallbackArguments();

    // The request.
    QByteArray method() const;
    void setMethod(const char* method);
    // The value of a request header; null when absent.
    QByteArray header(const QString& name) const;
    // The values of all request headers of that name, joined by commas; null when absent.
    QByteArray headerList(const QString& name) const;
    void removeRequestHeader(const char* name);
    // Without parameters.
    QByteArray requestContentType() const;
    bool isMultipart() const;
    // CR LF, two hyphens and the boundary of a multipart/form-data request; null without one.
    QByteArray getDelimiterFromHeader() const;
    // A view of the whole request body, valid while the exchange lives.
    QByteArray requestBody() const;
    // Whether libsoup keeps the request body while it reads it. Off: the body is seen by
    // gotChunk() only.
    void setAccumulate(bool accumulate);
    bool isFromLocalhost() const;
    bool isHttps() const;
    QString fullUri() const { return m_fullUri; }
    // The request's URL, in which a plus sign of the query means a space.
    const PlixUrl& url() const;
    // The client's address as text and its port; empty and 0 once the exchange has finished.
    QString remoteAddress() const;
    int remotePort() const;

    // The response. A null reason gives libsoup's phrase for the code.
    void setStatus(int code, const QString& reason);
    int status() const;
    // False, and nothing is set, for a value with a line break.
    bool setHeader(const QByteArray& name, const QByteArray& value);
    bool setHeader(const QString& name, const QString& value);
    bool setContentType(const QString& type);
    bool setContentLength(qint64 length);
    bool setNoCache();
    void setEncoding(Encoding encoding);
    // For 206: bytes `start` to `end` inclusive of `total`.
    void setContentRange(qint64 start, qint64 end, qint64 total);

    // Append to the response body and resume the message. The byte array's storage is shared, not
    // copied; of a mapped file a part that must lie within it, with a reference held on it.
    void responseBodyAdd(const char* data, qint64 length);
    void responseBodyAdd(const QByteArray& data);
    void responseBodyAdd(const std::shared_ptr<const MappedFile>& file, qint64 start,
                         qint64 length);
    // Sets the content type, unless it is null, and adds the body; does not complete it.
    void setResponseBody(const QByteArray& body, const QString& contentType);
    void setResponseBody(const QString& body, const QString& contentType);
    void responseBodyComplete();
    qint64 responseBodyLength() const;

    // Stops and resumes the exchange's input and output. Nothing happens after its end.
    void pause();
    void unpause();

Q_SIGNALS:
    void gotChunk(const char* data, unsigned int length);
    void finished();
    void wroteChunk();

protected:
    void connectNotify(const QMetaMethod& signal) override;

private:
    bool isOpen() const { return m_valid && !m_finished; }

    static void on_soup_gotChunk(SoupMessage*, SoupBuffer* chunk, Message* self);
    static void on_soup_wroteChunk(SoupMessage*, Message* self);
    static void on_soup_finished(SoupMessage*, Message* self);
    void follow();
    void finish();

    MessageData m_data;
    ResponseBody m_body;
    bool m_valid = true;
    bool m_finished = false;
    bool m_deletedWhenFinished = false;
    QString m_fullUri;
    mutable PlixUrl m_url;
    GSignalConnection m_gotChunk;
    GSignalConnection m_wroteChunk;
    GSignalConnection m_soupFinished;
};
