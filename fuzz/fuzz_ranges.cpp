// A served file and the headers that ask for a part of it, or for it under a condition.
#include "byteranges.h"
#include "handlers/statichandler.h"
#include "loopback.h"
#include "property.h"
#include "testdevice.h"

#include <QTemporaryDir>

#include <limits>

namespace {

const QByteArray content = "The quick brown fox jumps over the lazy dog.";
const QByteArray methods[] = {"GET", "HEAD", "POST"};
const QByteArray headers[] = {"Range", "If-None-Match", "If-Match", "If-Range"};

// A server with the one file.
int filePort() {
    startEventLoop();
    static const QTemporaryDir folder(QStringLiteral("/tmp/plix-fuzz-XXXXXX"));
    static TestServer server;
    static const bool isReady = [] {
        writeFile(folder.filePath(QStringLiteral("file.txt")), content);
        server.add(QStringLiteral("/"),
                   new StaticHandler(folder.path(), QString(), QString(), nullptr));
        return true;
    }();
    Q_UNUSED(isReady)
    return server.port();
}

// The bytes that a 206 says it sends.
QByteArray announcedPart(const QByteArray& contentRange) {
    qint64 first = -1;
    qint64 last = -1;
    qint64 total = -1;
    FUZZ_CHECK(
        std::sscanf(contentRange.constData(), "bytes %lld-%lld/%lld", &first, &last, &total) == 3);
    FUZZ_CHECK(first >= 0 && first <= last && last < total && total == content.size());
    return content.mid(static_cast<int>(first), static_cast<int>(last - first + 1));
}

void checkReply(const HttpReply& reply, bool isHead) {
    const QByteArray contentRange = reply.header("Content-Range");
    const QByteArray total = QByteArray::number(content.size());
    FUZZ_CHECK((QList<int>{200, 206, 304, 412, 416}).contains(reply.status));
    if (reply.status == 200)
        FUZZ_CHECK(reply.body == (isHead ? QByteArray() : content) && contentRange.isEmpty() &&
                   reply.header("Content-Length") == total);
    else if (reply.status == 206)
        FUZZ_CHECK(!isHead && reply.body == announcedPart(contentRange));
    else if (reply.status == 416)
        FUZZ_CHECK(!isHead && contentRange == "bytes */" + total &&
                   reply.body.size() == reply.header("Content-Length").toInt());
    else
        FUZZ_CHECK(reply.body.isEmpty());
}

void checkRange(const QByteArray& header, qint64 length) {
    const RangeRequest range = parseRange(header, length);
    FUZZ_CHECK((range.kind == RangeRequest::Whole) == (range.count == 0 || length < 0));
    if (range.kind == RangeRequest::Single)
        FUZZ_CHECK(range.first >= 0 && range.first <= range.last && range.last < length);
}

} // namespace

// The method's index, then a line for each header.
void fuzz(const QByteArray& input) {
    if (input.isEmpty() || input.contains('\0') || input.contains('\r'))
        return;
    const QByteArray method = methods[static_cast<unsigned char>(input[0]) % std::size(methods)];
    const QList<QByteArray> lines = input.mid(1).split('\n');
    for (const qint64 length :
         {qint64(0), qint64(1), qint64(content.size()), std::numeric_limits<qint64>::max()})
        checkRange(lines[0], length);

    QByteArray request = method + " /file.txt HTTP/1.1\r\nHost: localhost\r\n";
    for (int i = 0; i < lines.size() && i < int(std::size(headers)); ++i) {
        if (!lines[i].isEmpty())
            request += headers[i] + ": " + lines[i] + "\r\n";
    }
    checkReply(exchangeOne(filePort(), request + "\r\n", method == "HEAD"), method == "HEAD");
}
