#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

// What a request and the browser behind it say about where it comes from. Headers that are absent
// are null; who is no browser sends neither `origin` nor `fetchSite`.
struct RequestOrigin {
    QByteArray method;
    QString path; // decoded
    QByteArray host;
    QByteArray origin;
    QByteArray fetchSite; // "Sec-Fetch-Site"
};

// Whether a request that writes may be carried out: a POST, or a write by GET. Browsers send those
// for any page that somebody on the network visits, and ask nobody. A page may write when it comes
// from the device or from an allowed origin. Everything else is accepted.
bool isOriginAccepted(const RequestOrigin& request, const QByteArrayList& allowed);

// Whether pages of this origin may read the answers of the API.
bool isOriginAllowed(const QByteArray& origin, const QByteArrayList& allowed);

// The origins of a setting, as browsers spell them; entries that are none are logged and left out.
QByteArrayList originsOf(const QStringList& setting);
