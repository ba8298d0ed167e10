// SPDX-License-Identifier: MIT

// The URL that a client asks the proxy for.
#include "core/plixurl.h"
#include "handlers/reverseproxyhandler.h"
#include "property.h"

void fuzz(const QByteArray& input) {
    const QString uri = QString::fromUtf8(input);
    const QString found = ReverseProxyHandler::extractOriginalUrl(uri);
    FUZZ_CHECK(found.isEmpty() || uri.contains("proxy/"));
    FUZZ_CHECK(isPrintableAscii(PlixUrl(found).toEncoded()));

    const QString request = "http://[::1]:80/proxy/" + QString::fromLatin1(input.toBase64());
    // A NUL would cut the URL somewhere further down.
    FUZZ_CHECK(ReverseProxyHandler::extractOriginalUrl(request) ==
               (input.contains('\0') ? QString() : uri));
}
