#include "loopback.h"

#include "property.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

LoopbackAnswer lastAnswer;

// Turns without anything, each of about a millisecond, after which nothing more is expected: what
// has been sent arrives at once, but the kernel of a busy machine may leave it to another thread.
constexpr int patientTurns = 50;

bool runOneTurn() {
    const bool hadEvents =
        QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return hadEvents;
}

class Client {
public:
    explicit Client(int port) : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        FUZZ_CHECK(connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0);
        // So that thousands of connections a second leave no addresses waiting.
        const linger reset{1, 0};
        setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    }
    ~Client() { close(m_socket); }

    // Both give whether anything has moved.
    bool send(QByteArray* bytes) const {
        const ssize_t sent =
            ::send(m_socket, bytes->constData(), static_cast<size_t>(bytes->size()),
                   MSG_DONTWAIT | MSG_NOSIGNAL);
        bytes->remove(0, static_cast<int>(std::max<ssize_t>(sent, 0)));
        return sent > 0;
    }
    bool receive(LoopbackAnswer* answer) const {
        char buffer[65536];
        const ssize_t got = recv(m_socket, buffer, sizeof buffer, MSG_DONTWAIT);
        answer->wasReset = got < 0 && errno != EAGAIN;
        answer->ended = got == 0 || answer->wasReset;
        answer->bytes.append(buffer, static_cast<int>(std::max<ssize_t>(got, 0)));
        return got > 0;
    }
    void wait() const {
        pollfd readable{m_socket, POLLIN, 0};
        poll(&readable, 1, 1);
    }
    void finishSending() const { shutdown(m_socket, SHUT_WR); }

private:
    int m_socket;
};

void runUntilIdle(const Client& client, QByteArray* bytes, LoopbackAnswer* answer, int turns) {
    for (int idle = 0; idle < turns && !answer->ended; ++idle) {
        const bool hadEvents = runOneTurn();
        const bool sent = client.send(bytes);
        if (client.receive(answer) || sent || hadEvents)
            idle = -1;
        else
            client.wait();
    }
}

} // namespace

void startEventLoop() {
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    static const auto* application = new QCoreApplication(argc, argv);
    Q_UNUSED(application)
}

LoopbackAnswer exchange(int port, const QByteArray& bytes) {
    LoopbackAnswer& answer = lastAnswer;
    answer = {};
    QByteArray left = bytes;
    {
        const Client client(port);
        runUntilIdle(client, &left, &answer, 1);
        client.finishSending();
        runUntilIdle(client, &left, &answer, patientTurns);
    }
    while (runOneTurn()) {
    }
    return answer;
}

void failed(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n%s, %s\n", file, line, condition,
                 lastAnswer.bytes.constData(),
                 lastAnswer.wasReset ? "reset" : (lastAnswer.ended ? "ended" : "not ended"));
    std::abort();
}

int lowestDescriptor() {
    const int lowest = dup(STDIN_FILENO);
    close(lowest);
    return lowest;
}

int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    fuzz(QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<int>(size)));
    return 0;
}
