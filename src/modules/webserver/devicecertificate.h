#pragma once

#include <QSet>
#include <QString>

// Makes the certificate of the device with the openssl program: a key once, and for each set of
// addresses a certificate whose subject alternative names are exactly these, signed by the
// configured authority. Owned by a server. Its files are removed with it.
class DeviceCertificate {
public:
    DeviceCertificate(const QString& authorityCertificate, const QString& authorityKey);
    ~DeviceCertificate();
    DeviceCertificate(const DeviceCertificate&) = delete;
    DeviceCertificate& operator=(const DeviceCertificate&) = delete;

    // Blocks while openssl runs. False, with the reason logged, when a step fails.
    bool create(const QSet<QString>& addresses);

    // Another device of this machine uses the same names: whoever makes the files and reads them
    // holds this lock file meanwhile.
    static QString lockFile();
    static QString keyFile();
    static QString certificateFile();

private:
    bool createKey();
    bool createRequest(const QString& subject) const;
    bool sign(const QString& authorityFile, const QString& extensionFile) const;

    QString m_authorityCertificate;
    QString m_authorityKey;
    bool m_hasKey = false;
};

// The extension section that openssl reads for a certificate of these addresses, in the set's
// order.
QString deviceCertificateExtensions(const QSet<QString>& addresses);

// The device's subject from what openssl prints of the authority's ("subject=/C=..."): the same
// organisation under the device's common name. Null when the text is not of that form.
QString deviceCertificateSubject(const QString& authoritySubject);
