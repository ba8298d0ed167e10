#pragma once

#include "certificate/devicecertificate.h"

#include <QLockFile>
#include <QObject>
#include <QSet>
#include <QString>

#include <memory>

// Has a certificate made whenever the device's addresses change. It takes the lock of the
// certificate's files first, which another process may hold for a while, and has a key made the
// first time; both without blocking. Owned by a server.
class CertificateIssuer : public QObject {
    Q_OBJECT

public:
    // PEM texts of the authority.
    CertificateIssuer(const QString& authorityCertificate, const QString& authorityKey);

    // Does nothing without addresses. What waits for the lock or the key goes on with the latest
    // addresses.
    void issue(const QSet<QString>& addresses);
    // Whether issued() may follow by itself.
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
