// SPDX-License-Identifier: MIT
#pragma once

#include "certificate/devicecertificate.h"

#include <QLockFile>
#include <QObject>
#include <QSet>
#include <QString>

#include <memory>

// Has a certificate made whenever the device's addresses change. It first takes the lock of the
// certificate's files, which another process may hold, and the first time it has a key made. Both
// do not block. Owned by a server.
class CertificateIssuer : public QObject {
    Q_OBJECT

public:
    // PEM texts of the authority.
    CertificateIssuer(const QString& authorityCertificate, const QString& authorityKey);

    // Does nothing without addresses. While it waits for the lock or the key, a further call only
    // replaces the addresses.
    void issue(const QSet<QString>& addresses);
    // Whether it waits for the lock or the key, and may emit issued() later.
    bool isWaiting() const { return bool(m_lock); }

Q_SIGNALS:
    // The certificate and its key are in their files, which are locked during the signal. Not
    // emitted when a step fails; then the reason is logged.
    void issued();

private:
    void takeLock(int attempts);
    void on_certificate_keyAttempted();

    DeviceCertificate m_certificate;
    QSet<QString> m_addresses;
    // While the key is made, or another process has the files. Released before the certificate,
    // whose end takes it again to remove the files.
    std::unique_ptr<QLockFile> m_lock;
};
