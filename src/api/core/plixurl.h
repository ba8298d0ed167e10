// SPDX-License-Identifier: MIT
#pragma once

#include "plixexport.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

// A URL in its encoded form, split into its components. It is not normalised, and the components of
// an invalid URL can be read too. The path and query items are decoded by their getters.
class PLIX_EXPORT PlixUrl {
public:
    PlixUrl() = default;
    // From text with characters that have to be encoded.
    explicit PlixUrl(const QString& url);
    static PlixUrl fromEncoded(const QByteArray& url);

    bool isEmpty() const;
    bool isValid() const { return toQUrl().isValid(); }
    QString scheme() const;

    // The path, fully decoded. Invalid UTF-8 becomes U+FFFD; a percent sign without two hexadecimal
    // digits is not changed.
    QString path() const;
    void setPath(const QString& path);

    // The encoded query, without the question mark; null when there is none.
    QByteArray encodedQuery() const { return m_query; }
    void setEncodedQuery(const QByteArray& query);

    bool hasQueryItem(const QString& name) const;
    // The decoded value of the first item of that name; null when there is none.
    QString queryItemValue(const QString& name) const;

    // Always printable ASCII.
    QByteArray toEncoded() const;
    QUrl toQUrl() const { return QUrl::fromEncoded(toEncoded()); }

private:
    // Scheme and authority with their punctuation ("http://host:80").
    QByteArray m_origin;
    QByteArray m_path;
    // Null when absent, as opposed to empty.
    QByteArray m_query;
    QByteArray m_fragment;
};
