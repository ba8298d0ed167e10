#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

// A URL. Parsed from its encoded form; query items are found and decoded on demand.
class PlixUrl {
public:
    PlixUrl() = default;
    explicit PlixUrl(const QString& url);
    static PlixUrl fromEncoded(const QByteArray& url);

    bool isEmpty() const { return m_url.isEmpty(); }
    bool isValid() const { return m_url.isValid(); }
    QString scheme() const { return m_url.scheme(); }

    // The path, fully decoded. What cannot be decoded to text becomes U+FFFD.
    QString path() const;
    void setPath(const QString& path);

    // The query as it stands in the URL, without the question mark; null when there is none.
    QByteArray encodedQuery() const;
    void setEncodedQuery(const QByteArray& query);

    bool hasQueryItem(const QString& name) const;
    // The decoded value of the first item of that name; null when there is none.
    QString queryItemValue(const QString& name) const;

    QByteArray toEncoded() const;
    const QUrl& toQUrl() const { return m_url; }

private:
    QUrl m_url;
};
