// SPDX-License-Identifier: MIT
#include "rawclient.h"

#include <QCoreApplication>
#include <QTimer>

#include <sys/socket.h>

namespace {

// Runs the event loop until the condition holds, or for the time given. It is looked at after each
// event, not now and then: thousands of small waits must not take long.
template <typename Condition>
bool waitFor(Condition condition, int timeoutMs) {
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(timeoutMs);
    while (!condition() && limit.isActive()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        // Outside QEventLoop::exec() nothing else does this.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return condition();
}

} // namespace

RawClient::RawClient(int port, bool tls) {
    m_socket.setPeerVerifyMode(QSslSocket::VerifyNone);
    if (tls)
        m_socket.connectToHostEncrypted(QStringLiteral("127.0.0.1"), static_cast<quint16>(port));
    else
        m_socket.connectToHost(QStringLiteral("127.0.0.1"), static_cast<quint16>(port));
    if (!waitFor([=] { return tls ? m_socket.isEncrypted() : isConnected(); }, defaultTimeoutMs))
        qWarning() << "No connection:" << m_socket.errorString();
}

void RawClient::send(const QByteArray& bytes) {
    m_socket.write(bytes);
    m_socket.flush();
}

void RawClient::makeSlow() {
    constexpr int bytes = 4096;
    m_socket.setReadBufferSize(bytes);
    setsockopt(static_cast<int>(m_socket.socketDescriptor()), SOL_SOCKET, SO_RCVBUF, &bytes,
               sizeof bytes);
}

void RawClient::halfClose() {
    if (waitFor([this] { return m_socket.bytesToWrite() == 0; }, defaultTimeoutMs))
        ::shutdown(static_cast<int>(m_socket.socketDescriptor()), SHUT_WR);
}

void RawClient::reset() {
    const linger now{1, 0};
    setsockopt(static_cast<int>(m_socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &now,
               sizeof now);
    abort();
}

bool RawClient::readMore(int timeoutMs) {
    const auto isOver = [this] { return m_socket.bytesAvailable() > 0 || !isConnected(); };
    if (!waitFor(isOver, timeoutMs))
        return false;
    const QByteArray bytes = m_socket.readAll();
    m_buffer += bytes;
    return !bytes.isEmpty();
}

bool RawClient::readUntil(const QByteArray& mark) {
    while (!m_buffer.contains(mark)) {
        if (!readMore())
            return false;
    }
    return true;
}

QByteArray RawClient::readTo(const QByteArray& mark) {
    return readUntil(mark) ? read(m_buffer.indexOf(mark) + mark.size()) : QByteArray();
}

QByteArray RawClient::read(int count, int timeoutMs) {
    while (m_buffer.size() < count && readMore(timeoutMs)) {
    }
    const QByteArray taken = m_buffer.left(count);
    m_buffer.remove(0, taken.size());
    return taken;
}

bool RawClient::readChunks(QByteArray* body) {
    int size = -1;
    while (size != 0 && readUntil("\r\n")) {
        size = readTo("\r\n").trimmed().toInt(nullptr, 16);
        *body += read(size);
        read(2);
    }
    return size == 0;
}

HttpReply RawClient::readReply(bool toHead) {
    HttpReply reply;
    if (!readUntil("\r\n\r\n"))
        return reply;
    reply.head = readTo("\r\n\r\n");

    QList<QByteArray> lines = reply.head.trimmed().split('\n');
    reply.status = lines.takeFirst().mid(9, 3).toInt();
    while (!lines.isEmpty()) {
        const QByteArray line = lines.takeLast();
        const int colon = line.indexOf(':');
        reply.headers.insert(line.left(colon).toLower(), line.mid(colon + 1).trimmed());
    }

    if (toHead || reply.status == 304 || reply.status == 204 || reply.status < 200)
        return reply;
    const QByteArray length = reply.header("Content-Length");
    if (reply.isChunked())
        reply.status = readChunks(&reply.body) ? reply.status : 0;
    else if (!length.isNull())
        reply.body = read(length.toInt());
    else
        reply.body = readToEnd();
    return reply;
}

QByteArray RawClient::readToEnd(int timeoutMs) {
    waitForClose(timeoutMs);
    m_buffer += m_socket.readAll();
    return std::exchange(m_buffer, QByteArray());
}

bool RawClient::waitForClose(int timeoutMs) {
    return waitFor([this] { return !isConnected(); }, timeoutMs);
}

QByteArray RawClient::requestBytes(const QByteArray& method, const QByteArray& target,
                                   const QByteArray& extraHeaders, const QByteArray& body) {
    QByteArray bytes = method + " " + target + " HTTP/1.1\r\nHost: localhost\r\n" + extraHeaders;
    if (!body.isEmpty())
        bytes += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    return bytes + "\r\n" + body;
}

HttpReply RawClient::request(int port, const QByteArray& method, const QByteArray& target,
                             const QByteArray& extraHeaders, const QByteArray& body, bool tls) {
    RawClient client(port, tls);
    client.send(requestBytes(method, target, extraHeaders, body));
    return client.readReply(method == "HEAD");
}
