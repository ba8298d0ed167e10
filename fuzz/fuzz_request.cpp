// SPDX-License-Identifier: MIT

// Raw bytes to a whole device: what comes back is well-formed HTTP with the server's own headers
// only, and nothing is kept of a client that has gone.
#include "core/plixhost.h"
#include "loopback.h"
#include "property.h"
#include "testdevice.h"

#include <QSocketNotifier>
#include <QTest>

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QList<QByteArray> knownHeaders =
    QByteArray("accept-ranges allow cache-control connection content-language content-length "
               "content-range content-type date etag expires location pragma referrer-policy "
               "retry-after transfer-encoding vary x-content-type-options x-frame-options "
               "x-robots-tag")
        .split(' ');

// Reads what uploads bring, and so ends none of them.
class Updater {
public:
    Updater() {
        const QByteArray name = m_folder.filePath(QStringLiteral("pipe")).toUtf8();
        FUZZ_CHECK(mkfifo(name.constData(), 0600) == 0);
        m_notifier = std::make_unique<QSocketNotifier>(
            open(name.constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC), QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [](int pipe) {
            char buffer[65536];
            FUZZ_CHECK(read(pipe, buffer, sizeof buffer) > 0);
        });
        plixSetPlatformPaths(QStringLiteral("/nowhere/"), QString::fromUtf8(name));
    }

private:
    QTemporaryDir m_folder;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

int devicePort() {
    startEventLoop();
    static const Updater updater;
    static const TestDevice device(
        {{"settings:/ui/language", valueNode("string_", "en")},
         {"player:player/title", valueNode("string_", "A title")},
         {"player:player/volume", QVariantHash{{"value", 30}, {"maximum", 100}}}});
    return device.port();
}

bool isKnownLine(const QByteArray& line) {
    return knownHeaders.contains(line.left(line.indexOf(':')).toLower()) &&
           std::none_of(line.begin(), line.end(),
                        [](unsigned char c) { return c < ' ' || c == 127; });
}

// The length of the body that begins the bytes, whose head this is.
int bodyLength(const QByteArray& head, const QByteArray& bytes) {
    // None to HEAD and with some statuses; then the next answer follows at once.
    if (bytes.startsWith("HTTP/1."))
        return 0;
    if (head.contains("\r\nTransfer-Encoding: chunked\r\n"))
        return bytes.startsWith("0\r\n") ? 5 : bytes.indexOf("\r\n0\r\n\r\n") + 7;
    const QByteArray name = "\r\nContent-Length: ";
    const int position = head.indexOf(name);
    return position < 0 ? bytes.size() : head.mid(position + name.size()).split('\r')[0].toInt();
}

void checkAnswers(QByteArray bytes) {
    while (!bytes.isEmpty()) {
        const int end = bytes.indexOf("\r\n\r\n") + 2;
        FUZZ_CHECK(end > 2);
        const QByteArray head = bytes.left(end);
        FUZZ_CHECK(head.startsWith("HTTP/1.") && head[8] == ' ' && head.mid(9, 3).toInt() >= 100);
        QList<QByteArray> lines = head.mid(head.indexOf('\n') + 1).split('\n');
        lines.removeLast();
        QList<QByteArray> names;
        for (const QByteArray& line : qAsConst(lines)) {
            FUZZ_CHECK(line.endsWith('\r') && isKnownLine(line.chopped(1)));
            names.append(line.left(line.indexOf(':')).toLower());
            FUZZ_CHECK(names.count(names.last()) == 1);
        }
        bytes.remove(0, end + 2);
        const int length = bodyLength(head, bytes);
        FUZZ_CHECK(length <= bytes.size() || bytes.isEmpty());
        bytes.remove(0, length);
    }
}

void checkStillServes(int port) {
    const QByteArray answer = exchange(
        port,
        "GET /api/getData?path=player:player/title&roles=value HTTP/1.1\r\nHost: [::1]\r\n\r\n");
    FUZZ_CHECK(answer.startsWith("HTTP/1.1 200 ") && answer.contains("[{\"string_\":"));
}

} // namespace

void fuzz(const QByteArray& input) {
    // A source elsewhere must not be asked for what somebody's mutation has made up.
    if (input.contains("/proxy/"))
        return;
    const int port = devicePort();
    static const int descriptors = (checkStillServes(port), lowestDescriptor());
    checkAnswers(exchange(port, input));
    checkStillServes(port);
    FUZZ_CHECK(QTest::qWaitFor([] { return lowestDescriptor() <= descriptors; }));
}
