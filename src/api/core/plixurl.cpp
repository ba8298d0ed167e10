// SPDX-License-Identifier: MIT
#include "core/plixurl.h"

#include "core/plixutf8.h"

#include <algorithm>
#include <cstring>

namespace {

// The characters that are allowed in a path besides the unreserved ones.
constexpr char pathDelimiters[] = "/:@!$&'()*+,;=";

// Bytes that are not allowed in a URL. In a header or a log they would begin a new line.
bool isForbidden(char byte) {
    const auto unit = static_cast<unsigned char>(byte);
    return unit <= ' ' || unit >= 0x7F;
}

QByteArray withoutForbidden(const QByteArray& text) {
    if (std::none_of(text.cbegin(), text.cend(), isForbidden))
        return text;
    QByteArray result;
    for (const char byte : text) {
        if (isForbidden(byte))
            result += '%' + QByteArray(1, byte).toHex().toUpper();
        else
            result += byte;
    }
    return result;
}

int hexDigit(char digit) {
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    digit |= 0x20;
    return digit >= 'a' && digit <= 'f' ? digit - 'a' + 10 : -1;
}

// The text is printable ASCII. Qt's decoding accepts any characters after the percent sign.
QString decoded(const QByteArray& text) {
    if (!text.contains('%'))
        return QString::fromLatin1(text);
    QByteArray bytes;
    bytes.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const bool isComplete = text[i] == '%' && i + 2 < text.size();
        const int high = isComplete ? hexDigit(text[i + 1]) : -1;
        const int low = isComplete ? hexDigit(text[i + 2]) : -1;
        if (high >= 0 && low >= 0) {
            bytes += static_cast<char>(high * 16 + low);
            i += 2;
        } else {
            bytes += text[i];
        }
    }
    // With the length, because the overload for QByteArray stops at the first NUL.
    return plixFromUtf8(bytes.constData(), bytes.size());
}

bool isNamed(const char* text, int length, const QString& name) {
    if (!std::memchr(text, '%', static_cast<size_t>(length)))
        return name == QLatin1String(text, length);
    return decoded(QByteArray(text, length)) == name;
}

int schemeLength(const QByteArray& url) {
    const int colon = url.indexOf(':');
    const int slash = url.indexOf('/');
    return colon > 0 && (slash < 0 || colon < slash) ? colon : 0;
}

// `end` when there is none.
const char* findByte(const char* begin, const char* end, char byte) {
    const void* const found = std::memchr(begin, byte, static_cast<size_t>(end - begin));
    return found ? static_cast<const char*>(found) : end;
}

// The undecoded value of the first item of that name; null when there is none.
QByteArray queryItem(const QByteArray& query, const QString& name) {
    const char* const queryEnd = query.constData() + query.size();
    for (const char* begin = query.constData(); begin < queryEnd;) {
        const char* const end = findByte(begin, queryEnd, '&');
        const char* const equals = findByte(begin, end, '=');
        if (isNamed(begin, static_cast<int>(equals - begin), name))
            return equals < end ? QByteArray(equals + 1, static_cast<int>(end - equals - 1))
                                : QByteArray("");
        begin = end + 1;
    }
    return QByteArray();
}

} // namespace

PlixUrl::PlixUrl(const QString& url) {
    const QUrl parsed(url);
    *this = fromEncoded(parsed.isValid() ? parsed.toEncoded() : url.toUtf8());
}

PlixUrl PlixUrl::fromEncoded(const QByteArray& url) {
    PlixUrl result;
    QByteArray rest = withoutForbidden(url);
    if (const int hash = rest.indexOf('#'); hash >= 0) {
        result.m_fragment = rest.mid(hash + 1);
        rest.truncate(hash);
    }
    if (const int question = rest.indexOf('?'); question >= 0) {
        result.m_query = rest.mid(question + 1);
        rest.truncate(question);
    }
    int pathBegin = schemeLength(rest);
    if (pathBegin > 0)
        ++pathBegin;
    if (rest.mid(pathBegin, 2) == "//") {
        pathBegin = rest.indexOf('/', pathBegin + 2);
        if (pathBegin < 0)
            pathBegin = rest.size();
    }
    result.m_origin = rest.left(pathBegin);
    result.m_path = rest.mid(pathBegin);
    return result;
}

bool PlixUrl::isEmpty() const {
    return m_origin.isEmpty() && m_path.isEmpty() && m_query.isNull() && m_fragment.isNull();
}

QString PlixUrl::scheme() const {
    return QString::fromLatin1(m_origin.left(schemeLength(m_origin))).toLower();
}

QString PlixUrl::path() const {
    return decoded(m_path);
}

void PlixUrl::setPath(const QString& path) {
    m_path = QUrl::toPercentEncoding(path, pathDelimiters);
}

void PlixUrl::setEncodedQuery(const QByteArray& query) {
    m_query = withoutForbidden(query);
}

bool PlixUrl::hasQueryItem(const QString& name) const {
    return !queryItem(m_query, name).isNull();
}

QString PlixUrl::queryItemValue(const QString& name) const {
    const QByteArray value = queryItem(m_query, name);
    return value.isNull() ? QString() : decoded(value);
}

QByteArray PlixUrl::toEncoded() const {
    QByteArray url = m_origin + m_path;
    if (!m_query.isNull())
        url += '?' + m_query;
    if (!m_fragment.isNull())
        url += '#' + m_fragment;
    return url;
}
