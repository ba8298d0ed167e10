#include "loopback.h"

#include "property.h"
#include "testdevice.h"

#include <QCoreApplication>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

QByteArray lastAnswer;

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
    lastAnswer = client.read(INT_MAX, patienceMs);
    // So that thousands of connections a second leave no addresses waiting.
    client.reset();
    settle();
    return lastAnswer;
}

HttpReply exchangeOne(int port, const QByteArray& request, bool toHead) {
    RawClient client(port);
    client.send(request);
    const HttpReply reply = client.readReply(toHead);
    lastAnswer = reply.head + reply.body;
    client.reset();
    settle();
    return reply;
}

void failed(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n%s\n", file, line, condition,
                 lastAnswer.constData());
    std::abort();
}

int lowestDescriptor() {
    const int lowest = dup(STDIN_FILENO);
    close(lowest);
    return lowest;
}

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    // A copy, which ends with a NUL as all that the server reads does.
    fuzz(QByteArray(reinterpret_cast<const char*>(data), static_cast<int>(size)));
    return 0;
}
