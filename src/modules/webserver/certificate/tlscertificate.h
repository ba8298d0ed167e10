// SPDX-License-Identifier: MIT
#pragma once

#include "glibptr.h"

#include <QByteArray>
#include <QString>

// Certificates as GLib holds them, and the PEM texts that they are made of.

// From a text that holds a certificate and its private key. Null, and the reason logged, when it
// does not.
GObjectPtr<GTlsCertificate> loadCertificate(const QString& pem);

// Of a certificate and of those that lead to its authority, as far as they are known.
QByteArray certificateChainText(GTlsCertificate* certificate);

// The bytes (DER) of the first certificate in a PEM text; empty when there is none.
QByteArray certificateBytes(const QByteArray& pem);

// The SHA-256 digest of these bytes as browsers show it: "5A:0F:...".
QString certificateFingerprint(const QByteArray& bytes);

// Empty when the private key is not known.
QByteArray privateKeyText(GTlsCertificate* certificate);
