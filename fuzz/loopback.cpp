// SPDX-License-Identifier: MIT
#include "loopback.h"

#include "property.h"
#include "testdevice.h"

#include <QCoreApplication>

#include <climits>
#include <unistd.h>

namespace {

// After which nothing more is expected: what has been sent arrives at once, but the kernel of a
// busy machine may leave it to another thread.
constexpr int patienceMs = 50;

} // namespace

void startEventLoop() {
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    static const auto* application = new QCoreApplication(argc, argv);
    Q_UNUSED(application)
}

QByteArray exchange(int port, const QByteArray& bytes) {
    RawClient client(port);
    client.send(bytes);
    settle();
    client.halfClose();
    const QByteArray answer = client.read(INT_MAX, patienceMs);
    showWhenFailed(answer);
    // So that thousands of connections a second leave no addresses waiting.
    client.reset();
    settle();
    return answer;
}

HttpReply exchangeOne(int port, const QByteArray& request, bool toHead) {
    RawClient client(port);
    client.send(request);
    const HttpReply reply = client.readReply(toHead);
    showWhenFailed(reply.head + reply.body);
    client.reset();
    settle();
    return reply;
}

int lowestDescriptor() {
    const int lowest = dup(STDIN_FILENO);
    close(lowest);
    return lowest;
}
