// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QHash>
#include <QSslSocket>

// One HTTP response as it came over the wire.
struct HttpReply {
    int status = 0;                        // 0: no head arrived, or no last chunk
    QByteArray head;                       // status line and headers, with the empty line
    QByteArray body;                       // decoded
    QHash<QByteArray, QByteArray> headers; // by name in lower case, the first of several

    // Case-insensitive; null when absent.
    QByteArray header(const QByteArray& name) const { return headers.value(name.toLower()); }
    bool isChunked() const { return header("Transfer-Encoding") == "chunked"; }
};

// A client that writes and reads bytes, nothing more, so that a test sees what really goes over the
// wire. Server and client share the test's thread: the client runs the event loop while it waits.
class RawClient {
public:
    static constexpr int defaultTimeoutMs = 10000;

    explicit RawClient(int port, bool tls = false);
    ~RawClient() { m_socket.abort(); }

    bool isConnected() const { return m_socket.state() == QAbstractSocket::ConnectedState; }
    void send(const QByteArray& bytes);
    // From now on takes little at a time.
    void makeSlow();
    // Ends the sending direction (plain connections only).
    void halfClose();
    // Drops the connection without close_notify, like a program that ends.
    void abort() { m_socket.abort(); }
    // The same with a reset, as the system does when somebody unplugs the client (plain
    // connections only).
    void reset();

    // Reads one response. `toHead`: it has no body whatever its headers say.
    HttpReply readReply(bool toHead = false);
    // Everything up to the end of the connection, or up to the time limit.
    QByteArray readToEnd(int timeoutMs = defaultTimeoutMs);
    // So many bytes, fewer at the end of the connection or at the time limit.
    QByteArray read(int count, int timeoutMs = defaultTimeoutMs);
    // Everything up to the end of the mark; empty when it does not come.
    QByteArray readTo(const QByteArray& mark);
    bool waitForClose(int timeoutMs = defaultTimeoutMs);

    QSslSocket& socket() { return m_socket; }

    static QByteArray requestBytes(const QByteArray& method, const QByteArray& target,
                                   const QByteArray& extraHeaders = {},
                                   const QByteArray& body = {});
    // One request on a connection of its own. `extraHeaders`: whole lines with CR LF.
    static HttpReply request(int port, const QByteArray& method, const QByteArray& target,
                             const QByteArray& extraHeaders = {}, const QByteArray& body = {},
                             bool tls = false);
    static HttpReply get(int port, const QByteArray& target, const QByteArray& extraHeaders = {},
                         bool tls = false) {
        return request(port, "GET", target, extraHeaders, {}, tls);
    }

private:
    // Reads more into the buffer. False at the end of the connection or after the time limit.
    bool readMore(int timeoutMs = defaultTimeoutMs);
    bool readUntil(const QByteArray& mark);
    // False when the last one does not come.
    bool readChunks(QByteArray* body);

    QSslSocket m_socket;
    QByteArray m_buffer;
};
