// SPDX-License-Identifier: MIT

// URLs as clients send them, their query items, and the plus sign of forms.
#include "core/plixurl.h"
#include "core/plixutf8.h"
#include "property.h"

namespace {

void checkEncoded(const PlixUrl& url) {
    const QByteArray encoded = url.toEncoded();
    FUZZ_CHECK(isPrintableAscii(encoded));
    const PlixUrl again = PlixUrl::fromEncoded(encoded);
    FUZZ_CHECK(again.toEncoded() == encoded && again.path() == url.path());
    FUZZ_CHECK(again.encodedQuery() == url.encodedQuery() && again.scheme() == url.scheme());
    FUZZ_CHECK(encoded.isEmpty() == url.isEmpty());
}

} // namespace

void fuzz(const QByteArray& input) {
    PlixUrl url = PlixUrl::fromEncoded(input);
    checkEncoded(url);
    FUZZ_CHECK(url.hasQueryItem(QStringLiteral("a")) ==
               !url.queryItemValue(QStringLiteral("a")).isNull());

    const QString text = plixFromUtf8(input.constData(), input.size());
    checkEncoded(PlixUrl(text));
    // What is put in comes out, and stays within its component.
    const QByteArray query = url.encodedQuery();
    url.setPath(text);
    FUZZ_CHECK(url.path() == text && url.encodedQuery() == query);
    const QByteArray item = QUrl::toPercentEncoding(text);
    url.setEncodedQuery("b=&a=" + item + "&a=x");
    FUZZ_CHECK(url.queryItemValue(QStringLiteral("a")) == text);
    FUZZ_CHECK(url.path() == text);
}
