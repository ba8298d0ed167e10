// SPDX-License-Identifier: MIT
#pragma once

#include <QTcpServer>
#include <QTcpSocket>

// An HTTP source on loopback that answers the head of every request with the same bytes, whatever
// they are. It runs on the test's event loop.
class HttpSource : public QTcpServer {
public:
    // `repeat`: the answer's last bytes are sent without end, as fast as they are taken.
    explicit HttpSource(const QByteArray& answer, const QByteArray& repeat = {})
        : m_answer(answer), m_repeat(repeat) {
        listen(QHostAddress::LocalHost);
    }
    ~HttpSource() override { qDeleteAll(m_sockets); }

    // From now on ends the connection after the answer.
    void close() { m_closes = true; }

    static QByteArray ok(const QByteArray& body, const QByteArray& headers = {}) {
        return "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n" +
               headers + "\r\n" + body;
    }
    QString url(const QString& path = QStringLiteral("/")) const {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path);
    }
    const QByteArrayList& requests() const { return m_requests; }
    int connections() const {
        int open = 0;
        for (const QTcpSocket* socket : m_sockets)
            open += socket->state() == QAbstractSocket::ConnectedState;
        return open;
    }
    qint64 sentBytes() const { return m_sentBytes; }

protected:
    void incomingConnection(qintptr descriptor) override {
        auto* socket = new QTcpSocket;
        m_sockets.append(socket);
        socket->setSocketDescriptor(descriptor);
        connect(socket, &QIODevice::readyRead, this, [this, socket] { answer(*socket); });
        connect(socket, &QIODevice::bytesWritten, this, [this, socket](qint64 bytes) {
            m_sentBytes += bytes;
            if (socket->bytesToWrite() == 0 && !m_repeat.isEmpty())
                socket->write(m_repeat);
        });
    }

private:
    void answer(QTcpSocket& socket) {
        const QByteArray request = socket.readAll();
        if (!request.contains("\r\n\r\n"))
            return;
        m_requests.append(request);
        socket.write(m_answer);
        if (m_closes)
            socket.disconnectFromHost();
    }

    QByteArray m_answer;
    QByteArray m_repeat;
    bool m_closes = false;
    QList<QTcpSocket*> m_sockets;
    QByteArrayList m_requests;
    qint64 m_sentBytes = 0;
};
