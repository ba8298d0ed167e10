// SPDX-License-Identifier: MIT

// certificate/: The device certificate, its files and their lock.
#pragma once

#include <QObject>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>

// Makes the certificate of the device with the openssl program: a key once, and for each set of
// addresses a certificate signed by the configured authority, whose subject alternative names are
// exactly these addresses. The destructor removes the files.
class DeviceCertificate {
public:
    DeviceCertificate(const QString& authorityCertificate, const QString& authorityKey);
    ~DeviceCertificate();
    DeviceCertificate(const DeviceCertificate&) = delete;
    DeviceCertificate& operator=(const DeviceCertificate&) = delete;

    bool hasKey() const;
    // Starts openssl to make a key, without blocking. The callback is called from the event loop
    // when openssl has ended, with success or not; a failure is logged. It is not called after the
    // destruction of this object.
    void makeKey(std::function<void()> callback);

    // Requires a key. Blocks while openssl runs. False, with the reason logged, when a step fails.
    bool create(const QSet<QString>& addresses);

    // Several processes of a machine use the same names. Who makes the files and reads them holds
    // this lock meanwhile.
    static QString lockFile();
    static QString keyFile();
    static QString certificateFile();

private:
    bool createRequest(const QString& subject) const;
    bool sign(const QString& authorityFile, const QString& extensionFile) const;

    QString m_authorityCertificate;
    QString m_authorityKey;
    bool m_hasKey = false;
    // The run of openssl that makes a key; null when there is none.
    std::unique_ptr<QObject> m_keyRun;
};

// The extension section of openssl's configuration for a certificate of these addresses, in the
// order of the set.
QString deviceCertificateExtensions(const QSet<QString>& addresses);

// The device's subject, made from the authority's subject as openssl prints it ("subject=/C=..."):
// the same fields with the device's common name. Null when the text has another form.
QString deviceCertificateSubject(const QString& authoritySubject);
