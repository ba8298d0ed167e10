// SPDX-License-Identifier: MIT
#include "http/hostcheck.h"

#include <QHostAddress>
#include <QString>

#include <algorithm>
#include <arpa/inet.h>

namespace {

bool isIpAddress(const QByteArray& text) {
    // The usual case; it needs no conversion to QString.
    in_addr ipv4{};
    if (inet_pton(AF_INET, text.constData(), &ipv4) == 1)
        return true;
    QHostAddress address;
    return address.setAddress(QString::fromLatin1(text));
}

QByteArray withoutPort(const QByteArray& host) {
    const int colon = host.lastIndexOf(':');
    return colon < 0 ? host : host.left(colon);
}

bool isIpLiteral(const QByteArray& host) {
    if (!host.startsWith('['))
        return isIpAddress(withoutPort(host));
    QByteArray rest = host.mid(1);
    const int end = rest.lastIndexOf("]:");
    if (end >= 0)
        rest.truncate(end + 1);
    return rest.endsWith(']') && isIpAddress(rest.left(rest.size() - 1));
}

bool isLocalName(const QByteArray& host) {
    static const QByteArray names[] = {"localhost", "localhost6", "localhost.localdomain",
                                       "localhost6.localdomain6"};
    QByteArray name = withoutPort(host);
    if (name.endsWith('.'))
        name.chop(1);
    return std::find(std::begin(names), std::end(names), name) != std::end(names) ||
           name.endsWith(".local") || !name.contains('.');
}

} // namespace

bool isHostAccepted(const QByteArray& host) {
    return isIpLiteral(host) || isLocalName(host);
}
