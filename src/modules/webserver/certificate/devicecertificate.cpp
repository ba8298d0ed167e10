// SPDX-License-Identifier: MIT
#include "certificate/devicecertificate.h"

#include "core/dbglog.h"
#include "core/plixlooptask.h"
#include "processhandler/plixprocesshandler.h"

#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QRegularExpression>
#include <QStringList>
#include <QTemporaryDir>

namespace {

// On a small device the search for two large primes takes seconds; the other steps are quick.
constexpr int keyTimeoutMs = 30000;
constexpr int stepTimeoutMs = 5000;

QString requestFile() {
    return QStringLiteral("/tmp/soup-dev-csr.pem");
}

PlixProcessHandlerResult openssl(const QStringList& arguments, int timeoutMs) {
    const PlixLoopTask task(
        "openssl", [&] { return arguments.first(); }, PlixLoopTaskKind::Expected);
    return PlixProcessHandler::startSync(QStringLiteral("openssl"), arguments, timeoutMs);
}

bool writeFile(const QString& name, const QString& text) {
    QFile file(name);
    if (!file.open(QIODevice::ReadWrite) ||
        !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner))
        return false;
    const QByteArray bytes = text.toUtf8();
    return file.write(bytes) == bytes.size() && file.flush();
}

// The subject of the device's certificate: the authority's with the device's common name.
QString subjectFor(const QString& authorityFile) {
    const auto result = openssl({QStringLiteral("x509"), QStringLiteral("-noout"),
                                 QStringLiteral("-subject"), QStringLiteral("-nameopt"),
                                 QStringLiteral("compat"), QStringLiteral("-in"), authorityFile},
                                stepTimeoutMs);
    const QString subject = deviceCertificateSubject(result.getData());
    if (result.finishedOk() && !subject.isNull())
        return subject;
    dbglog_warning("Unable to query CA subject: " << result.getData());
    return QStringLiteral("/C=AT/ST=Vienna/O=Osterbrook/CN=Corvalink-device");
}

} // namespace

QString deviceCertificateExtensions(const QSet<QString>& addresses) {
    return QStringLiteral("[v3_ca]\n"
                          "basicConstraints = CA:FALSE\n"
                          "keyUsage = digitalSignature, keyEncipherment\n"
                          "extendedKeyUsage = serverAuth\n"
                          "subjectAltName = IP:") +
           addresses.values().join(QStringLiteral(",IP:")) + QLatin1Char('\n');
}

QString deviceCertificateSubject(const QString& authoritySubject) {
    const QString prefix = QStringLiteral("subject=");
    static const QRegularExpression commonName(QStringLiteral("/CN=[^/]+"));
    if (!authoritySubject.startsWith(prefix))
        return {};
    return authoritySubject.mid(prefix.size())
        .trimmed()
        .replace(commonName, QStringLiteral("/CN=Corvalink-device"));
}

DeviceCertificate::DeviceCertificate(const QString& authorityCertificate,
                                     const QString& authorityKey)
    : m_authorityCertificate(authorityCertificate), m_authorityKey(authorityKey) {}

DeviceCertificate::~DeviceCertificate() {
    if (!m_hasKey && !m_keyRun)
        return;
    m_keyRun.reset();
    // A process that holds the lock uses the files, and will remove them itself.
    QLockFile lock(lockFile());
    if (!lock.tryLock(0))
        return;
    QFile::remove(certificateFile());
    QFile::remove(requestFile());
    QFile::remove(keyFile());
}

QString DeviceCertificate::lockFile() {
    return QStringLiteral("/tmp/soup-cert.lock");
}

QString DeviceCertificate::keyFile() {
    return QStringLiteral("/tmp/soup-key.pem");
}

QString DeviceCertificate::certificateFile() {
    return QStringLiteral("/tmp/soup-cert.pem");
}

bool DeviceCertificate::hasKey() const {
    return m_hasKey && QFile::exists(keyFile());
}

void DeviceCertificate::makeKey(std::function<void()> callback) {
    dbglog_scopedFunction;
    m_hasKey = false;
    // The key must not be written into a file, or through a link, that somebody else has made.
    QFile::remove(keyFile());
    m_keyRun = std::make_unique<QObject>();
    PlixProcessHandler::start(
        QStringLiteral("openssl"),
        {QStringLiteral("genrsa"), QStringLiteral("-out"), keyFile(), QStringLiteral("2048")},
        keyTimeoutMs, m_keyRun.get(),
        [this, callback = std::move(callback)](const PlixProcessHandlerResult& result) {
            m_keyRun.release()->deleteLater();
            m_hasKey = result.finishedOk();
            if (!hasKey())
                dbglog_error("Unable to create device key: " << result.getData());
            callback();
        });
}

bool DeviceCertificate::createRequest(const QString& subject) const {
    dbglog_info("Using device-cert subject: " << subject);
    QFile::remove(requestFile());
    const auto result =
        openssl({QStringLiteral("req"), QStringLiteral("-new"), QStringLiteral("-key"), keyFile(),
                 QStringLiteral("-out"), requestFile(), QStringLiteral("-sha256"),
                 QStringLiteral("-subj"), subject},
                stepTimeoutMs);
    if (!result.finishedOk())
        dbglog_error("Unable to create csr: " << result.getData());
    return result.finishedOk();
}

bool DeviceCertificate::sign(const QString& authorityFile, const QString& extensionFile) const {
    QFile::remove(certificateFile());
    const auto result =
        openssl({QStringLiteral("x509"), QStringLiteral("-req"), QStringLiteral("-in"),
                 requestFile(), QStringLiteral("-out"), certificateFile(), QStringLiteral("-days"),
                 QStringLiteral("365"), QStringLiteral("-CA"), authorityFile,
                 QStringLiteral("-CAcreateserial"), QStringLiteral("-extensions"),
                 QStringLiteral("v3_ca"), QStringLiteral("-extfile"), extensionFile},
                stepTimeoutMs);
    // The same text as for the key, on purpose: a log monitor that looks for it learns of a missing
    // certificate whichever step failed.
    if (!result.finishedOk())
        dbglog_error("Unable to create device key: " << result.getData());
    return result.finishedOk();
}

bool DeviceCertificate::create(const QSet<QString>& addresses) {
    dbglog_scopedFunction;
    // In a folder of its own, because openssl writes a file with the serial number beside the
    // authority; it is removed with the folder.
    const QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/soup-ca-XXXXXX"));
    const QString authorityFile = folder.filePath(QStringLiteral("authority.pem"));
    const QString extensionFile = folder.filePath(QStringLiteral("extensions.cnf"));
    // The key has to begin on a new line, even if the setting lacks the line break.
    const QString lineEnd(m_authorityCertificate.endsWith(QLatin1Char('\n')) ? 0 : 1,
                          QLatin1Char('\n'));
    if (!folder.isValid() ||
        !writeFile(authorityFile, m_authorityCertificate + lineEnd + m_authorityKey) ||
        !writeFile(extensionFile, deviceCertificateExtensions(addresses))) {
        dbglog_error("Unable to create temp files!");
        return false;
    }
    return createRequest(subjectFor(authorityFile)) && sign(authorityFile, extensionFile);
}
