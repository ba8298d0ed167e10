// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

// A certificate authority for a device without a configured one. It is made with `openssl` at the
// first start and stored below the state directory, so that users have to trust it only once. The
// files are readable for their owner only.
class DevelopmentCa {
public:
    explicit DevelopmentCa(const QString& folder);

    // Loads the authority, or makes one when there is none, the files are damaged or do not match,
    // or the certificate expires soon. False, with the reason in the log, when `openssl` is missing
    // or fails or the folder cannot be written.
    bool prepare();

    // PEM texts.
    const QString& certificate() const { return m_certificate; }
    const QString& privateKey() const { return m_privateKey; }

private:
    bool isUsable() const;
    bool make() const;
    bool load();

    QString m_folder;
    QString m_certificateFile;
    QString m_privateKeyFile;
    QString m_certificate;
    QString m_privateKey;
};
