// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

// What a request says of its origin. Headers that are absent are null. Clients that are no browsers
// send neither `origin` nor `fetchSite`.
struct RequestOrigin {
    QByteArray method;
    QString path; // decoded
    QByteArray host;
    QByteArray origin;
    QByteArray fetchSite; // "Sec-Fetch-Site"
};

// Whether a request may be carried out. Requests that do not write are accepted. A POST, or a write
// by GET, is accepted from a page of the device or of an allowed origin, and from clients that are
// no browsers. This prevents cross-site request forgery: a browser sends such requests for any page
// that it shows, without asking the user.
bool isOriginAccepted(const RequestOrigin& request, const QByteArrayList& allowed);

// Whether pages of this origin may read the answers of the API.
bool isOriginAllowed(const QByteArray& origin, const QByteArrayList& allowed);

// The origins of a setting, as browsers spell them. Entries of another form are logged and
// ignored.
QByteArrayList originsOf(const QStringList& setting);
