// SPDX-License-Identifier: MIT
#include "testdevice.h"

#include "connection/connectionbudget.h"
#include "core/plixpaths.h"
#include "files/recentfiles.h"
#include "message.h"
#include "rawclient.h"

#include <QCoreApplication>
#include <QDir>
#include <QNetworkProxy>
#include <QProcess>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTest>

namespace {

// What the process's file descriptors refer to.
QStringList openDescriptors() {
    QStringList targets;
    const auto entries =
        QDir("/proc/self/fd").entryInfoList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System);
    for (const QFileInfo& entry : entries)
        targets.append(entry.symLinkTarget());
    return targets;
}

int streamPipes() {
    return QDir("/tmp").entryList({"plix-stream-data-pipe-*"}, QDir::System).size();
}

// GLib opens descriptors once, on first use, and keeps them.
void warmUp() {
    static const bool done = [] {
        g_type_ensure(G_TYPE_TASK);
        // Qt 6 asks in a thread that stays.
        QNetworkProxyFactory::setUseSystemConfiguration(false);
        Server server(0, QString(), QString(), false, nullptr);
        Handler handler(QString(), nullptr);
        server.addHandler("/", &handler);
        server.start();
        RawClient::get(server.listeningPort(), "/");
        settle();
        return true;
    }();
    Q_UNUSED(done)
}

QVariantHash text(const QString& value) {
    return valueNode("string_", value, {{"internal", true}});
}

// A certificate and its key in one text.
QString authority() {
    // One authority for all tests of a program: making a key takes a while.
    static const QString text = [] {
        QProcess openssl;
        openssl.start("openssl", {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout",
                                  "/dev/stdout", "-subj", "/C=AT/O=Test Works/CN=Test authority"});
        openssl.waitForFinished();
        return QString::fromUtf8(openssl.readAllStandardOutput());
    }();
    return text;
}

} // namespace

QVariantHash valueNode(const char* type, const QVariant& value, QVariantHash more) {
    more.insert("value", QVariantHash{{type, value}});
    return more;
}

QByteArray noise(int size) {
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator generator(1);
    std::generate(bytes.begin(), bytes.end(), [&] { return char(generator.generate()); });
    return bytes;
}

int freePort() {
    QTcpServer server;
    server.listen(QHostAddress::Any);
    return server.serverPort();
}

void settle() {
    for (int i = 0; i < 3; ++i) {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

ConnectionLimits patience(int ms) {
    ConnectionLimits limits;
    limits.headMs = limits.handshakeMs = limits.bodyMs = limits.idleMs = ms;
    return limits;
}

LeakCheck::LeakCheck() {
    warmUp();
    m_descriptors = openDescriptors().size();
    m_pipes = streamPipes();
}

LeakCheck::~LeakCheck() {
    if (!QTest::qWaitFor([this] { return openDescriptors().size() <= m_descriptors; }))
        QTest::qFail(qPrintable("file descriptors are left: " + openDescriptors().join(' ')),
                     __FILE__, __LINE__);
    // Other programs make some too, and remove them.
    if (!QTest::qWaitFor([this] { return streamPipes() <= m_pipes; }))
        QTest::qFail("a stream's FIFO was left in /tmp", __FILE__, __LINE__);
}

TestServer::TestServer(bool tls, const ConnectionLimits& limits) {
    const QString certificate = tls ? authority() : QString();
    m_server = std::make_unique<Server>(0, certificate, certificate, false, nullptr);
    m_server->setBudget(std::make_shared<ConnectionBudget>(limits));
    m_server->start();
}

TestServer::~TestServer() {
    m_server.reset();
    RecentFiles::instance().clear();
    settle();
    for (const auto& handler : m_handlers) {
        if (handler->findChild<Message*>())
            QTest::qFail("a message outlived its exchange", __FILE__, __LINE__);
    }
}

void TestServer::add(const QString& path, Handler* handler) {
    m_handlers.emplace_back(handler);
    m_server->addHandler(path, handler);
}

void TestServer::addEarly(const QString& path, Handler* handler) {
    m_handlers.emplace_back(handler);
    m_server->addEarlyHandler(path, handler);
}

TestDevice::TestDevice(const QVariantHash& nodes) {
    QVariantHash all{{PlixWebserverDocumentRootPath().toEncoded(), text(m_root.path())},
                     {PlixWebserverPortPath().toEncoded(), valueNode("i32_", freePort())}};
    for (auto node = nodes.begin(); node != nodes.end(); ++node)
        all.insert(node.key(), node.value());

    if (all.contains(PlixWebserverHttpsCertPath().toEncoded())) {
        m_certificateLock = std::make_unique<QLockFile>(QDir::tempPath() + "/plix-test.lock");
        QVERIFY(m_certificateLock->lock());
    }

    const QVariantHash config{{"nodes", all}};
    for (auto node = all.begin(); node != all.end(); ++node) {
        const QString name = CMPath::fromEncoded(node.key()).worker();
        auto& worker = m_workers[name];
        if (!worker)
            worker = std::make_unique<CMNodesWorker>(config, name);
    }
    m_web = std::make_unique<WebserverWorker>(config);
    settle();
    QTRY_VERIFY(!m_web->isStarting());
}

TestDevice::~TestDevice() {
    m_web.reset();
    settle();
}

QVariantHash TestDevice::httpsNodes() {
    const QVariantList addresses{QVariantHash{{"ip", "127.0.0.1"}}};
    const QVariantHash network{{"wired", QVariantHash{{"addresses", addresses}}}};
    return {{PlixWebserverHttpsCertPath().toEncoded(), text(authority())},
            {PlixWebserverHttpsPrivateKeyPath().toEncoded(), text(authority())},
            {PlixWebserverHttpsUseDeviceCertPath().toEncoded(), valueNode("bool_", true)},
            {PlixWebserverHttpsPortPath().toEncoded(), valueNode("i32_", freePort())},
            {PlixNetworkInfoPath().toEncoded(), QVariantHash{{"value", network}}}};
}
