// SPDX-License-Identifier: MIT
#include "http/origincheck.h"

#include "core/dbglog.h"

#include <QRegularExpression>
#include <QStringList>

namespace {

const char schemeEnd[] = "://";

bool writes(const RequestOrigin& request) {
    return request.method == "POST" ||
           (request.method == "GET" && request.path == QLatin1String("/api/setData"));
}

QByteArray hostName(const QByteArray& authority) {
    const int end = authority.startsWith('[') ? authority.indexOf(']') + 1 : authority.indexOf(':');
    return authority.left(end > 0 ? end : authority.size()).toLower();
}

// Scheme and port are ignored, because the device has two servers and pages of one may use the
// other. Other programs of the same host are trusted like the device.
bool isSameHost(const QByteArray& origin, const QByteArray& host) {
    const int end = origin.indexOf(schemeEnd);
    return end > 0 && !host.isEmpty() &&
           hostName(origin.mid(end + int(qstrlen(schemeEnd)))) == hostName(host);
}

} // namespace

bool isOriginAccepted(const RequestOrigin& request, const QByteArrayList& allowed) {
    if (!writes(request))
        return true;
    if (request.origin.isNull())
        return request.fetchSite != "cross-site";
    return isSameHost(request.origin, request.host) || isOriginAllowed(request.origin, allowed);
}

bool isOriginAllowed(const QByteArray& origin, const QByteArrayList& allowed) {
    return !origin.isEmpty() && allowed.contains(origin);
}

QByteArrayList originsOf(const QStringList& setting) {
    // "null" is the origin of every sandboxed page, and a wildcard would allow every origin.
    static const QRegularExpression form(
        QStringLiteral(R"(\A[a-z][a-z0-9+.-]*://([a-z0-9._-]+|\[[0-9a-f:.]+\])(:[0-9]+)?\z)"));
    QByteArrayList origins;
    for (const QString& entry : setting) {
        if (form.match(entry).hasMatch())
            origins.append(entry.toLatin1());
        else
            dbglog_warning("Not an origin, ignored: \"" << entry << "\"");
    }
    return origins;
}
