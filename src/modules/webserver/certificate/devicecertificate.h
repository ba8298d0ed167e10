// certificate/: The device certificate, its files and their lock.
#pragma once

#include <QObject>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>

// Makes the certificate of the device with the openssl program: a key once, and for each set of
// addresses a certificate whose subject alternative names are exactly these, signed by the
// configured authority. Its files are removed with it.
class DeviceCertificate {
public:
    DeviceCertificate(const QString& authorityCertificate, const QString& authorityKey);
    ~DeviceCertificate();
    DeviceCertificate(const DeviceCertificate&) = delete;
    DeviceCertificate& operator=(const DeviceCertificate&) = delete;

    bool hasKey() const;
    // Has openssl make a key while the event loop goes on, which calls back when there is one, or
    // when it failed and the reason is logged; not once the certificate is destroyed.
    void makeKey(std::function<void()> callback);

    // Wants a key. Blocks while openssl runs. False, with the reason logged, when a step fails.
    bool create(const QSet<QString>& addresses);

    // Another device of this machine uses the same names: whoever makes the files and reads them
    // holds this lock file meanwhile.
    static QString lockFile();
    static QString keyFile();
    static QString certificateFile();

private:
    bool createRequest(const QString& subject) const;
    bool sign(const QString& authorityFile, const QString& extensionFile) const;

    QString m_authorityCertificate;
    QString m_authorityKey;
    bool m_hasKey = false;
    // While openssl makes one.
    std::unique_ptr<QObject> m_keyRun;
};

// The extension section that openssl reads for a certificate of these addresses, in the set's
// order.
QString deviceCertificateExtensions(const QSet<QString>& addresses);

// The device's subject from what openssl prints of the authority's ("subject=/C=..."): the same
// organisation under the device's common name. Null when the text is not of that form.
QString deviceCertificateSubject(const QString& authoritySubject);
