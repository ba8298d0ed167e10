// SPDX-License-Identifier: MIT
#include "responders/file/fileanswer.h"

#include "core/dbglog.h"
#include "core/mimetypes.h"
#include "http/byteranges.h"
#include "http/conditions.h"
#include "message.h"
#include "responders/browserpolicy.h"

namespace {

// Answers with 304 or 412 when a condition of the request asks for it.
bool answerConditions(Message* message, const QByteArray& method, const QByteArray& etag,
                      qint64 length) {
    const Conditions conditions{method, message->headerList(QStringLiteral("If-None-Match")),
                                message->headerList(QStringLiteral("If-Match"))};
    switch (conditions.check(etag)) {
    case Conditions::Send:
        return false;
    case Conditions::NotModified:
        message->setStatus(304, QString());
        // The length of the file; caches would store that of the missing body.
        message->setContentLength(length);
        return true;
    case Conditions::PreconditionFailed:
        message->setStatus(412, QString());
        return true;
    }
    return false;
}

// The range to send. The whole file if If-Range names another version.
RangeRequest requestedRange(const Message* message, const QByteArray& etag, qint64 length) {
    const QByteArray header = message->header(QStringLiteral("Range"));
    if (header.isNull() || length == 0)
        return {};
    RangeRequest range = parseRange(header, length);
    if (range.kind == RangeRequest::Whole)
        return {};
    dbglog_debug("got " << range.count << " ranges in the request");
    if (!isRangeOf(message->header(QStringLiteral("If-Range")), etag))
        return {};
    if (range.kind == RangeRequest::Several)
        dbglog_info("Ignoring Range: header with multiple ranges: " << header);
    return range;
}

void sendContents(Message* message, const std::shared_ptr<const MappedFile>& contents,
                  const QByteArray& etag) {
    const auto total = static_cast<qint64>(contents->size());
    const RangeRequest range = requestedRange(message, etag, total);
    qint64 start = 0;
    qint64 length = total;
    if (range.kind == RangeRequest::Unsatisfiable) {
        dbglog_info("Unsatisfiable range: " << range.first << " " << range.last
                                            << " length: " << total);
        message->setHeader(QByteArrayLiteral("Content-Range"),
                           "bytes */" + QByteArray::number(total));
        // With the text for a missing file, on purpose.
        return FileAnswer::sendNotFound(message, 416);
    }
    if (range.kind == RangeRequest::Single) {
        dbglog_debug("got range request for " << range.first << " " << range.last
                                              << " entityLength=" << total);
        start = range.first;
        length = range.last - range.first + 1;
        message->setStatus(206, QString());
        message->setContentRange(range.first, range.last, total);
    }
    message->setHeader(QByteArrayLiteral("ETag"), etag);
    if (length > 0)
        message->responseBodyAdd(contents, start, length);
}

void answerMethod(const QFileInfo& file, Message* message, const QByteArray& method,
                  const std::shared_ptr<const MappedFile>& contents, const QByteArray& etag) {
    const auto logged = [&](const char* what) {
        dbglog_debug(what << " " << message->fullUri() << " " << file.absoluteFilePath());
    };
    message->setStatus(200, QString());
    if (method == "GET") {
        logged("Serving GET for");
        sendContents(message, contents, etag);
    } else if (method == "HEAD") {
        logged("Serving HEAD for");
        message->setHeader(QByteArrayLiteral("Content-Length"),
                           QByteArray::number(quint64(contents->size())));
    } else if (method == "POST") {
        logged("Serving POST for");
        message->setMethod("GET");
        sendContents(message, contents, etag);
    } else {
        dbglog_info("Unsupported method " << method << " for " << message->fullUri() << " "
                                          << file.absoluteFilePath());
        message->setStatus(405, QString());
        message->setHeader(QByteArrayLiteral("Allow"), QByteArrayLiteral("GET, HEAD, POST"));
    }
}

} // namespace

void FileAnswer::send(const QFileInfo& file, const std::shared_ptr<const MappedFile>& contents,
                      const ETagCache::Entry& entry, Message* message, const QString& contentType) {
    const QByteArray etag = entry.etag.toLatin1();
    const QByteArray method = message->method();
    setBrowserPolicy(message);
    message->setContentType(contentType.isEmpty() ? entry.contentType : contentType);
    message->setHeader(QByteArrayLiteral("Accept-Ranges"), QByteArrayLiteral("bytes"));
    if (message->isHttps())
        message->setHeader(QByteArrayLiteral("Content-Security-Policy"),
                           QByteArrayLiteral("upgrade-insecure-requests"));
    if (!answerConditions(message, method, etag, static_cast<qint64>(contents->size())))
        answerMethod(file, message, method, contents, etag);
}

void FileAnswer::sendText(Message* message, int status, const QString& text) {
    // For a responder the body would be sent in chunks. The response must not depend on the caller.
    message->setEncoding(Message::ContentLength);
    setBrowserPolicy(message);
    message->setStatus(status, QString());
    message->setResponseBody(text, MimeTypes::Text::plain());
}

void FileAnswer::sendNotFound(Message* message, int status) {
    sendText(message, status,
             QStringLiteral("The requested url '%1' was not found.").arg(message->fullUri()));
}

void FileAnswer::sendOpenError(const QFileInfo& file, const QString& reason, Message* message) {
    dbglog_error("StaticHandler::handle: Error openning file: " << file.absoluteFilePath() << " "
                                                                << reason);
    sendText(message, 500, QStringLiteral("Error opening file: %1").arg(reason));
}
