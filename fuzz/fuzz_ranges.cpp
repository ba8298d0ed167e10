// SPDX-License-Identifier: MIT

// A served file and the headers that ask for a part of it, or for it under a condition.
#include "handlers/statichandler.h"
#include "loopback.h"
#include "property.h"
#include "testdevice.h"

#include <QTemporaryDir>

namespace {

const QByteArray content = "The quick brown fox jumps over the lazy dog.";
const QByteArray methods[] = {"GET", "HEAD", "POST"};
const QByteArray headers[] = {"Range", "If-None-Match", "If-Match", "If-Range"};

// With the one file.
struct FileServer : TestServer {
    QTemporaryDir folder{QStringLiteral("/tmp/plix-fuzz-XXXXXX")};

    FileServer() {
        writeFile(folder.filePath(QStringLiteral("file.txt")), content);
        add(QStringLiteral("/"), new StaticHandler(folder.path(), QString(), QString(), nullptr));
    }
};

int filePort() {
    startEventLoop();
    static const FileServer server;
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

} // namespace

// The method's index, then a line for each header.
void fuzz(const QByteArray& input) {
    // Control characters are refused before anybody reads a range.
    const auto isControl = [](unsigned char c) {
        return (c < ' ' && c != '\n' && c != '\t') || c == 0x7f;
    };
    if (input.isEmpty() || std::any_of(input.begin() + 1, input.end(), isControl))
        return;
    const QByteArray method = methods[static_cast<unsigned char>(input[0]) % std::size(methods)];
    const QList<QByteArray> lines = input.mid(1).split('\n');
    QByteArray request = method + " /file.txt HTTP/1.1\r\nHost: localhost\r\n";
    for (int i = 0; i < lines.size() && i < int(std::size(headers)); ++i) {
        if (!lines[i].isEmpty())
            request += headers[i] + ": " + lines[i] + "\r\n";
    }
    checkReply(exchangeOne(filePort(), request + "\r\n", method == "HEAD"), method == "HEAD");
}
