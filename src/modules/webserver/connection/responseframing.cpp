// SPDX-License-Identifier: MIT
#include "connection/responseframing.h"

#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <charconv>
#include <strings.h>

namespace {

constexpr std::string_view lineEnd = "\r\n";

bool equals(std::string_view text, std::string_view other) {
    return text.size() == other.size() && strncasecmp(text.data(), other.data(), text.size()) == 0;
}

// What matters of the engine's head.
struct Head {
    int status = 0;
    std::int64_t length = -1;
    bool closes = false;
    bool hasDate = false;
    bool hasRobots = false;

    explicit Head(std::string_view text) {
        size_t end = text.find(lineEnd);
        // "HTTP/1.1 200 OK"
        std::from_chars(text.data() + 9, text.data() + std::min<size_t>(end, 12), status);
        while (end != std::string_view::npos) {
            const size_t begin = end + lineEnd.size();
            end = text.find(lineEnd, begin);
            if (end != std::string_view::npos && end > begin)
                addLine(text.substr(begin, end - begin));
        }
    }

private:
    void addLine(std::string_view line) {
        const size_t colon = line.find(": ");
        if (colon == std::string_view::npos)
            return;
        const std::string_view name = line.substr(0, colon);
        const std::string_view value = line.substr(colon + 2);
        if (equals(name, "Content-Length"))
            std::from_chars(value.data(), value.data() + value.size(), length);
        else if (equals(name, "Connection"))
            closes = closes || equals(value, "close");
        else if (equals(name, "Date"))
            hasDate = true;
        else if (equals(name, "X-Robots-Tag"))
            hasRobots = true;
    }
};

bool mayHaveBody(int status) {
    return status >= 200 && status != 204 && status != 304;
}

} // namespace

std::string ResponseFraming::head(std::string_view engineHead) {
    const Head head(engineHead);
    if (head.status < 200)
        return std::string(engineHead);
    m_hasHead = true;
    m_closes = head.closes || !m_request.keepsAlive;

    std::string text(engineHead.substr(0, engineHead.size() - lineEnd.size()));
    if (head.length >= 0) {
        m_body = Body::Length;
        m_length = head.length;
    } else if (mayHaveBody(head.status) && m_request.isHttp11) {
        m_body = Body::Chunked;
        text += "Transfer-Encoding: chunked\r\n";
    } else if (mayHaveBody(head.status)) {
        m_body = Body::UntilClose;
        m_closes = true;
    }
    if (m_request.isHead || !mayHaveBody(head.status))
        m_body = Body::None;
    if (m_closes && !head.closes)
        text += "Connection: close\r\n";
    // The engine drops what was set before "100 Continue".
    if (!head.hasDate)
        text += "Date: " + httpDate() + "\r\n";
    if (!head.hasRobots)
        text += "X-Robots-Tag: noindex\r\n";
    return text += lineEnd;
}

bool ResponseFraming::isWhole(bool engineSaysSo) const {
    if (!m_hasHead)
        return false;
    switch (m_body) {
    case Body::None:
        return true;
    case Body::Length:
        return m_bytes == m_length;
    default:
        return engineSaysSo;
    }
}

std::string ResponseFraming::chunkHead(size_t size) {
    char text[chunkOverhead];
    char* end = std::to_chars(text, text + sizeof text, size, 16).ptr;
    *end++ = '\r';
    *end++ = '\n';
    return {text, end};
}

std::string httpDate() {
    return QLocale::c()
        .toString(QDateTime::currentDateTimeUtc(),
                  QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"))
        .toStdString();
}
