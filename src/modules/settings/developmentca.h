#pragma once

#include <QByteArray>
#include <QString>

// A certificate authority for a device that has none configured: made with `openssl` at the first
// start, kept under the state directory and used from then on, so that who trusts it once need not
// do so again. Certificate and key are for the owner's eyes only.
class DevelopmentCa {
public:
    explicit DevelopmentCa(const QString& folder);

    // Loads the authority, or makes it when there is none, or when what is there is damaged, does
    // not belong together or is about to expire. False, with the reason in the log, when `openssl`
    // is missing or fails or the folder cannot be written.
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
