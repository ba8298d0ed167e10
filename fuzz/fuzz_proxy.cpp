// The URL that a client asks the proxy for.
#include "core/plixurl.h"
#include "handlers/reverseproxyhandler.h"
#include "property.h"

#include <algorithm>

void fuzz(const QByteArray& input) {
    const QString uri = QString::fromUtf8(input);
    const QString found = ReverseProxyHandler::extractOriginalUrl(uri);
    FUZZ_CHECK(found.isEmpty() || uri.contains("proxy/"));
    // Nothing in it breaks out of the request's line.
    const QByteArray encoded = PlixUrl(found).toEncoded();
    FUZZ_CHECK(
        std::all_of(encoded.begin(), encoded.end(), [](char c) { return c > ' ' && c < 127; }));

    const QString request = "http://[::1]:80/proxy/" + QString::fromLatin1(input.toBase64());
    FUZZ_CHECK(ReverseProxyHandler::extractOriginalUrl(request) == uri);
}
