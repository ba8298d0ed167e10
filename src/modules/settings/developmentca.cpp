// SPDX-License-Identifier: MIT
#include "developmentca.h"

#include "core/dbglog.h"
#include "processhandler/plixprocesshandler.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {

// Far more than openssl takes on a slow device. The start of the device waits for it.
constexpr int timeoutMs = 10000;

const QString openssl = QStringLiteral("openssl");

// A complete configuration, so that openssl does not use that of the machine.
constexpr char requestConfig[] = "[req]\n"
                                 "prompt = no\n"
                                 "distinguished_name = subject\n"
                                 "x509_extensions = ca\n"
                                 "[subject]\n"
                                 "C = AT\n"
                                 "O = Plix\n"
                                 "CN = Plix development CA\n"
                                 "[ca]\n"
                                 "basicConstraints = critical, CA:TRUE\n"
                                 "keyUsage = critical, keyCertSign, cRLSign\n"
                                 "subjectKeyIdentifier = hash\n";

const QString validityDays = QStringLiteral("3650");
// A certificate that expires within this time, in seconds, is replaced: a device may not be
// restarted for weeks.
const QString renewalSeconds = QString::number(30 * 24 * 3600);

bool readText(const QString& fileName, QString* text) {
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    *text = QString::fromUtf8(file.readAll());
    return !text->isEmpty();
}

bool writeFile(const QString& fileName, const char* text) {
    QFile file(fileName);
    return file.open(QIODevice::WriteOnly) && file.write(text) >= 0 && file.flush();
}

// The PEM block of a public key in the output of openssl.
QString publicKey(const QString& output) {
    const QString end = QStringLiteral("-----END PUBLIC KEY-----");
    const int first = output.indexOf(QLatin1String("-----BEGIN PUBLIC KEY-----"));
    const int last = output.indexOf(end);
    return first < 0 || last < first ? QString() : output.mid(first, last - first + end.size());
}

bool replace(const QString& from, const QString& to) {
    return QFile::setPermissions(from, QFile::ReadOwner | QFile::WriteOwner) &&
           std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
}

} // namespace

DevelopmentCa::DevelopmentCa(const QString& folder)
    : m_folder(folder), m_certificateFile(folder + QStringLiteral("/ca.pem")),
      m_privateKeyFile(folder + QStringLiteral("/ca-key.pem")) {}

bool DevelopmentCa::prepare() {
    return (isUsable() || make()) && load();
}

bool DevelopmentCa::isUsable() const {
    if (!QFileInfo::exists(m_certificateFile) || !QFileInfo::exists(m_privateKeyFile))
        return false;
    // Every start waits for this. Without the variable openssl would read all authorities that the
    // machine trusts, which takes most of the time.
    const PlixProcessHandlerResult certificate = PlixProcessHandler::startSync(
        QStringLiteral("env"),
        {QStringLiteral("SSL_CERT_FILE=/dev/null"), openssl, QStringLiteral("x509"),
         QStringLiteral("-noout"), QStringLiteral("-pubkey"), QStringLiteral("-checkend"),
         renewalSeconds, QStringLiteral("-in"), m_certificateFile},
        timeoutMs);
    const PlixProcessHandlerResult key =
        PlixProcessHandler::startSync(openssl,
                                      {QStringLiteral("pkey"), QStringLiteral("-pubout"),
                                       QStringLiteral("-in"), m_privateKeyFile},
                                      timeoutMs);
    const QString certified = publicKey(certificate.getData());
    return certificate.finishedOk() && key.finishedOk() && !certified.isEmpty() &&
           certified == publicKey(key.getData());
}

bool DevelopmentCa::make() const {
    const QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    const QTemporaryDir work(m_folder + QStringLiteral("-XXXXXX"));
    const QString config = work.filePath(QStringLiteral("request.conf"));
    if (!work.isValid() || !QDir().mkpath(m_folder) ||
        !QFile::setPermissions(m_folder, ownerOnly) || !writeFile(config, requestConfig)) {
        dbglog_error("No development CA: " << m_folder << " cannot be written");
        return false;
    }
    const QString certificate = work.filePath(QStringLiteral("ca.pem"));
    const QString key = work.filePath(QStringLiteral("ca-key.pem"));
    const PlixProcessHandlerResult result = PlixProcessHandler::startSync(
        openssl,
        {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-config"), config,
         QStringLiteral("-newkey"), QStringLiteral("ec"), QStringLiteral("-pkeyopt"),
         QStringLiteral("ec_paramgen_curve:P-256"), QStringLiteral("-nodes"),
         QStringLiteral("-sha256"), QStringLiteral("-days"), validityDays,
         QStringLiteral("-keyout"), key, QStringLiteral("-out"), certificate},
        timeoutMs);
    if (!result.finishedOk()) {
        dbglog_error("No development CA: openssl: " << result.getData().simplified());
        return false;
    }
    if (!replace(key, m_privateKeyFile) || !replace(certificate, m_certificateFile)) {
        dbglog_error("No development CA: " << m_folder << " cannot be written");
        return false;
    }
    dbglog_info("Made a development CA: " << m_certificateFile);
    return true;
}

bool DevelopmentCa::load() {
    if (readText(m_certificateFile, &m_certificate) && readText(m_privateKeyFile, &m_privateKey))
        return true;
    dbglog_error("No development CA: " << m_folder << " cannot be read");
    return false;
}
