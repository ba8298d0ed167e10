// SPDX-License-Identifier: MIT
#include "certificate/certificateissuer.h"

#include "core/dbglog.h"

#include <QTimer>

namespace {

// Five seconds in all: longer than another process needs to make a certificate, and short enough
// for a person who waits for the page.
constexpr int lockAttempts = 50;
constexpr int lockIntervalMs = 100;

} // namespace

CertificateIssuer::CertificateIssuer(const QString& authorityCertificate,
                                     const QString& authorityKey)
    : m_certificate(authorityCertificate, authorityKey) {}

void CertificateIssuer::issue(const QSet<QString>& addresses) {
    m_addresses = addresses;
    if (addresses.isEmpty() || isWaiting())
        return;
    m_lock = std::make_unique<QLockFile>(DeviceCertificate::lockFile());
    takeLock(lockAttempts);
}

void CertificateIssuer::takeLock(int attempts) {
    if (!m_lock->tryLock(0)) {
        if (attempts > 1)
            return QTimer::singleShot(lockIntervalMs, this,
                                      [this, attempts] { takeLock(attempts - 1); });
        dbglog_warning("Another process holds " << DeviceCertificate::lockFile());
    }
    if (m_certificate.hasKey())
        return on_certificate_keyAttempted();
    m_certificate.makeKey([this] { on_certificate_keyAttempted(); });
}

void CertificateIssuer::on_certificate_keyAttempted() {
    const std::unique_ptr<QLockFile> lock = std::move(m_lock);
    if (m_certificate.hasKey() && !m_addresses.isEmpty() && m_certificate.create(m_addresses))
        Q_EMIT issued();
}
