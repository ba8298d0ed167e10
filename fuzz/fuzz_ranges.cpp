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

QByteArray valueOf(const QByteArray& head, const QByteArray& name) {
    const int position = head.indexOf("\r\n" + name + ": ");
    if (position < 0)
        return {};
    const int begin = position + name.size() + 4;
    return head.mid(begin, head.indexOf('\r', begin) - begin);
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

void checkAnswer(const QByteArray& answer, bool isHead) {
    const int headLength = answer.indexOf("\r\n\r\n");
    FUZZ_CHECK(answer.startsWith("HTTP/1.1 ") && headLength > 0);
    const QByteArray head = answer.left(headLength + 2);
    const QByteArray body = answer.mid(headLength + 4);
    const QByteArray contentRange = valueOf(head, "Content-Range");
    const QByteArray total = QByteArray::number(content.size());
    const int status = answer.mid(9, 3).toInt();
    FUZZ_CHECK((QList<int>{200, 206, 304, 412, 416}).contains(status));
    if (status == 200)
        FUZZ_CHECK(body == (isHead ? QByteArray() : content) && contentRange.isEmpty() &&
                   valueOf(head, "Content-Length") == total);
    else if (status == 206)
        FUZZ_CHECK(!isHead && body == announcedPart(contentRange));
    else if (status == 416)
        FUZZ_CHECK(!isHead && contentRange == "bytes */" + total &&
                   body.size() == valueOf(head, "Content-Length").toInt());
    else
        FUZZ_CHECK(body.isEmpty());
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

    QByteArray request = method + " /file.txt HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n";
    for (int i = 0; i < lines.size() && i < int(std::size(headers)); ++i) {
        if (!lines[i].isEmpty())
            request += headers[i] + ": " + lines[i] + "\r\n";
    }
    checkAnswer(exchange(filePort(), request + "\r\n").bytes, method == "HEAD");
}
