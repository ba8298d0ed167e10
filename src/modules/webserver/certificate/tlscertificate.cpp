// SPDX-License-Identifier: MIT
#include "certificate/tlscertificate.h"

#include "core/dbglog.h"

#include <QCryptographicHash>

namespace {

QByteArray textProperty(GTlsCertificate* certificate, const char* name) {
    char* text = nullptr;
    g_object_get(certificate, name, &text, nullptr);
    return GCharPtr(text).get();
}

} // namespace

GObjectPtr<GTlsCertificate> loadCertificate(const QString& pem) {
    GErrorPtr error;
    const auto certificate = GObjectPtr<GTlsCertificate>::adopt(
        g_tls_certificate_new_from_pem(pem.toUtf8().constData(), pem.length(), error.out()));
    if (!certificate) {
        dbglog_error("Load certificate failed: " << error.message());
        return {};
    }
    if (privateKeyText(certificate.get()).isEmpty()) {
        dbglog_error("Load certificate failed: its text holds no private key");
        return {};
    }
    return certificate;
}

QByteArray certificateChainText(GTlsCertificate* certificate) {
    QByteArray text;
    for (; certificate; certificate = g_tls_certificate_get_issuer(certificate))
        text += textProperty(certificate, "certificate-pem");
    return text;
}

QByteArray certificateBytes(const QByteArray& pem) {
    const QByteArray begin = QByteArrayLiteral("-----BEGIN CERTIFICATE-----");
    const int first = pem.indexOf(begin) + begin.size();
    const int last = pem.indexOf("-----END CERTIFICATE-----", first);
    return first < begin.size() || last < 0 ? QByteArray()
                                            : QByteArray::fromBase64(pem.mid(first, last - first));
}

QString certificateFingerprint(const QByteArray& bytes) {
    const QByteArray digest = QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
    return QString::fromLatin1(digest.toHex(':').toUpper());
}

QByteArray privateKeyText(GTlsCertificate* certificate) {
    return textProperty(certificate, "private-key-pem");
}
