// SPDX-License-Identifier: MIT
#pragma once

#include "core/plixhash.h"

#include <algorithm>

// The data of an HTTP request that the web server hands to another worker: the server variables
// as members of their own ("REQUEST_URI", "QUERY_STRING", ...) and the posted fields as `params`.
class PlixHttpRequestData : public PlixHash {
public:
    using PlixHash::PlixHash;

    void setVariable(const QString& name, const QVariant& value) { setMember(name, value); }
    QVariant variable(const QString& name) const { return member(name); }
    QVariantHash params() const { return member(QStringLiteral("params")).toHash(); }
    void setParams(const QVariant& params) { setMember(QStringLiteral("params"), params); }
};

// What the web server, or a player, writes to the role PlixRoles::HttpRequest() of a node: perform
// the request and write the response body into the named pipe, which exists already and is being
// read.
//
// A worker that answers status 200 without a local file opens the pipe for writing, best before it
// answers and without blocking: a pipe that stays unopened for half a minute ends the exchange with
// an error. Closing the pipe ends the body, and EPIPE says that the client has left.
class PlixHttpRequest : public PlixHash {
public:
    using PlixHash::PlixHash;

    // The names of such pipes: this prefix and a decimal number.
    static QString pipePrefix() { return QStringLiteral("/tmp/plix-stream-data-pipe-"); }
    // Whether the pipe is named like that. A worker must not open any other:
    // clients can write to roles of nodes, and would choose what the device writes into.
    bool hasStreamPipe() const {
        const QString number = pipe().mid(pipePrefix().size());
        return pipe().startsWith(pipePrefix()) && !number.isEmpty() &&
               std::all_of(number.begin(), number.end(),
                           [](QChar digit) { return digit >= u'0' && digit <= u'9'; });
    }

    PlixHttpRequestData data() const { return {member(QStringLiteral("data")).toHash()}; }
    void setData(const PlixHttpRequestData& data) {
        setMember(QStringLiteral("data"), data.__variant());
    }
    QString pipe() const { return member(QStringLiteral("pipe")).toString(); }
    void setPipe(const QString& name) { setMember(QStringLiteral("pipe"), name); }
};

// The worker's answer: what the response looks like, and whether its body comes through the pipe
// or is a local file. Status 0 is not an answer.
class PlixHttpRequestReply : public PlixHash {
public:
    using PlixHash::PlixHash;

    // The keys of the members that may be absent.
    static QString ContentLength() { return QStringLiteral("contentLength"); }
    static QString Headers() { return QStringLiteral("headers"); }
    static QString LocalFile() { return QStringLiteral("localFile"); }

    int status() const { return member(QStringLiteral("status")).toInt(); }
    void setStatus(int status) { setMember(QStringLiteral("status"), status); }
    QString contentType() const { return member(QStringLiteral("contentType")).toString(); }
    void setContentType(const QString& type) { setMember(QStringLiteral("contentType"), type); }
    // Bytes; negative when unknown.
    qint64 contentLength() const { return member(ContentLength()).toLongLong(); }
    void setContentLength(qint64 length) { setMember(ContentLength(), length); }
    QVariantHash headers() const { return member(Headers()).toHash(); }
    void setHeaders(const QVariantHash& headers) { setMember(Headers(), headers); }
    // Absolute path.
    QString localFile() const { return member(LocalFile()).toString(); }
    void setLocalFile(const QString& path) { setMember(LocalFile(), path); }
};
