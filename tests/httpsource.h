#pragma once

#include <QProcess>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>
#include <QTemporaryDir>

// An HTTP source on loopback that answers the head of every request with the same bytes, whatever
// they are. It runs on the test's event loop.
class HttpSource : public QTcpServer {
public:
    // `repeat`: the answer's last bytes are sent without end, as fast as they are taken.
    explicit HttpSource(const QByteArray& answer, const QByteArray& repeat = {}, bool tls = false)
        : m_answer(answer), m_repeat(repeat), m_tls(tls) {
        listen(QHostAddress::LocalHost);
        if (tls)
            makeCertificate();
    }
    ~HttpSource() override { qDeleteAll(m_sockets); }

    static QByteArray ok(const QByteArray& body, const QByteArray& headers = {}) {
        return "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n" +
               headers + "\r\n" + body;
    }
    QString url(const QString& path = QStringLiteral("/")) const {
        return QStringLiteral("%1://127.0.0.1:%2%3")
            .arg(m_tls ? QStringLiteral("https") : QStringLiteral("http"))
            .arg(serverPort())
            .arg(path);
    }
    const QByteArrayList& requests() const { return m_requests; }
    int connections() const {
        int open = 0;
        for (const QSslSocket* socket : m_sockets)
            open += socket->state() == QAbstractSocket::ConnectedState;
        return open;
    }
    qint64 sentBytes() const { return m_sentBytes; }

protected:
    void incomingConnection(qintptr descriptor) override {
        auto* socket = new QSslSocket;
        m_sockets.append(socket);
        socket->setSocketDescriptor(descriptor);
        connect(socket, &QIODevice::readyRead, this, [this, socket] { answer(*socket); });
        connect(socket, &QIODevice::bytesWritten, this, [this, socket](qint64 bytes) {
            m_sentBytes += bytes;
            if (socket->bytesToWrite() == 0 && !m_repeat.isEmpty())
                socket->write(m_repeat);
        });
        if (!m_tls)
            return;
        socket->setLocalCertificate(m_certificate);
        socket->setPrivateKey(m_key);
        socket->startServerEncryption();
    }

private:
    void answer(QSslSocket& socket) {
        const QByteArray request = socket.readAll();
        if (!request.contains("\r\n\r\n"))
            return;
        m_requests.append(request);
        socket.write(m_answer);
    }

    void makeCertificate() {
        const QTemporaryDir folder;
        const QString file = folder.filePath(QStringLiteral("both.pem"));
        QProcess openssl;
        openssl.start(QStringLiteral("openssl"),
                      {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
                       "-nodes", "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
                       "-keyout", file, "-out", file});
        openssl.waitForFinished();
        QFile both(file);
        both.open(QIODevice::ReadOnly);
        m_key = QSslKey(&both, QSsl::Ec);
        m_certificate = QSslCertificate::fromPath(file).value(0);
    }

    QByteArray m_answer;
    QByteArray m_repeat;
    bool m_tls;
    QSslCertificate m_certificate;
    QSslKey m_key;
    QList<QSslSocket*> m_sockets;
    QByteArrayList m_requests;
    qint64 m_sentBytes = 0;
};
